#include "download/open_request.h"

#include "download/ftp_transfer.h"
#include "download/http_transfer.h"

namespace download {
namespace {

constexpr int kWaits = 100;
constexpr DWORD kWaitMs = 100;

}  // namespace

OpenResult OpenRequest(InternetSession* session, TransferState* state, const std::string& url,
                       uint32_t present, const char* verb) {
  UrlParts parts;
  if (const uint32_t error = SplitUrl(url, &parts)) return {error};
  if (IsHttp(parts.scheme)) {
    return OpenHttp(session, state, verb, parts, /*no_auto_redirect=*/false, present);
  }
  if (parts.scheme == INTERNET_SCHEME_FTP) return OpenFtp(session, state, parts);
  return {ERROR_INTERNET_UNRECOGNIZED_SCHEME};
}

bool IsWorthAnotherAttempt(uint32_t error) {
  return error == ERROR_INTERNET_CANNOT_CONNECT || error == ERROR_INTERNET_NAME_NOT_RESOLVED;
}

bool WaitForNextAttempt(const TransferState& state) {
  for (int wait = 0; wait < kWaits; ++wait) {
    state.WaitWhilePaused();
    if (state.IsCancelled()) return false;
    ::Sleep(kWaitMs);
  }
  return true;
}

}  // namespace download
