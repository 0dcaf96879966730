#include "download/name_query.h"

#include <optional>

#include "download/header_fields.h"
#include "download/http_transfer.h"
#include "download/internet_session.h"
#include "download/open_request.h"
#include "download/url.h"
#include "download/wininet.h"

namespace download {
namespace {

// `address` as it is when it cannot be decoded.
std::string Decode(const std::string& address) {
  std::string text(260, '\0');
  const auto decode = [&] {
    auto length = static_cast<DWORD>(text.size());
    const BOOL done = Internet().InternetCanonicalizeUrlA(address.c_str(), text.data(), &length,
                                                          ICU_DECODE | ICU_NO_ENCODE);
    const bool too_small = !done && ::GetLastError() == ERROR_INSUFFICIENT_BUFFER;
    if (done || too_small) text.resize(length);
    return done != FALSE;
  };
  return decode() || decode() ? text : address;
}

std::string ProposedName(HINTERNET request) {
  std::optional<std::string> address = ReadHeader(request, HTTP_QUERY_LOCATION);
  if (!address) address = ReadHeader(request, HTTP_QUERY_CONTENT_LOCATION);
  if (address) return NameFromLocation(Decode(*address));
  const auto disposition = ReadHeader(request, HTTP_QUERY_CONTENT_DISPOSITION);
  return disposition ? NameFromDisposition(*disposition) : std::string();
}

}  // namespace

uint32_t QueryName(TransferState* state) {
  UrlParts url;
  if (const uint32_t error = SplitUrl(state->request.url, &url)) return error;
  if (!IsHttp(url.scheme)) return NO_ERROR;
  InternetSession session(state);
  const OpenResult opened = RetryConnecting(*state, [&] {
    return OpenHttp(&session, state, "HEAD", url, /*no_auto_redirect=*/true, /*present=*/0);
  });
  if (opened.result == NO_ERROR) {
    state->outcome.proposed_name = WithoutForbidden(ProposedName(session.request()));
  }
  return opened.result;
}

}  // namespace download
