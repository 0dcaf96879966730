#ifndef DOWNLOAD_HTTP_TRANSFER_H_
#define DOWNLOAD_HTTP_TRANSFER_H_

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

#include "download/internet_session.h"
#include "download/transfer_state.h"
#include "download/url.h"

namespace download {

// Sends a request and deals with refused certificates and logins, by asking the user. On a result
// of 0 the body can be read from the session's request. `present` is the number of bytes that are
// there already. A status that has no code of its own is not an error: the body is whatever the
// server sent.
[[nodiscard]] OpenResult OpenHttp(InternetSession* session, TransferState* state, const char* verb,
                                  const UrlParts& url, bool no_auto_redirect, uint32_t present);

// The text of a response header (an HTTP_QUERY_ number); nothing when it is absent.
std::optional<std::string> ReadHeader(HINTERNET request, DWORD header);

}  // namespace download

#endif  // DOWNLOAD_HTTP_TRANSFER_H_
