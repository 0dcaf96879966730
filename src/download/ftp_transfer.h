#ifndef DOWNLOAD_FTP_TRANSFER_H_
#define DOWNLOAD_FTP_TRANSFER_H_

#include <cstdint>

#include "download/internet_session.h"
#include "download/transfer_state.h"
#include "download/url.h"

namespace download {

// Logs in, asking for credentials when the server refuses, and opens the file for reading. On 0 it
// can be read from the session's request. `offset` comes out as 0: a transfer always starts at the
// beginning. `size` is the file's size modulo 2^32, 0 when the server does not say.
[[nodiscard]] uint32_t OpenFtp(InternetSession* session, TransferState* state, const UrlParts& url,
                               uint32_t* offset, uint32_t* size);

}  // namespace download

#endif  // DOWNLOAD_FTP_TRANSFER_H_
