#ifndef DOWNLOAD_FTP_TRANSFER_H_
#define DOWNLOAD_FTP_TRANSFER_H_

#include <cstdint>

#include "download/internet_session.h"
#include "download/transfer_state.h"
#include "download/url.h"

namespace download {

// Logs in, asking for credentials when the server refuses, and opens the file for reading, from its
// beginning. On a result of 0 it can be read from the session's request.
[[nodiscard]] OpenResult OpenFtp(InternetSession* session, TransferState* state,
                                 const UrlParts& url);

}  // namespace download

#endif  // DOWNLOAD_FTP_TRANSFER_H_
