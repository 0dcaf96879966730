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

// Sends a request and deals with refused certificates and logins, by asking the user. On 0 the body
// can be read from the session's request.
// `offset` goes in as the number of bytes that are there already, and comes out as the position at
// which the body starts, 0 when the server sends the whole file. `size` is that of the whole file,
// 0 when the server does not say; both count modulo 2^32.
// A status that has no code of its own is not an error: the body is whatever the server sent.
[[nodiscard]] uint32_t OpenHttp(InternetSession* session, TransferState* state, const char* verb,
                                const UrlParts& url, bool no_auto_redirect, uint32_t* offset,
                                uint32_t* size);

// The text of a response header (an HTTP_QUERY_ number); nothing when it is absent.
std::optional<std::string> ReadHeader(HINTERNET request, DWORD header);

}  // namespace download

#endif  // DOWNLOAD_HTTP_TRANSFER_H_
