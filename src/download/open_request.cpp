#include "download/open_request.h"

#include "download/ftp_transfer.h"
#include "download/http_transfer.h"

namespace download {

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

bool WaitTenths(const TransferState& state, uint32_t tenths) {
  for (; tenths != 0; --tenths) {
    state.WaitWhilePaused();
    if (state.IsCancelled()) return false;
    ::Sleep(100);
  }
  return true;
}

}  // namespace download
