#ifndef DOWNLOAD_NAME_QUERY_H_
#define DOWNLOAD_NAME_QUERY_H_

#include <cstdint>

#include "download/transfer_state.h"

namespace download {

// The body of the name worker: asks the server, without fetching the file, what it calls the file
// behind `url`, and leaves that in `file_name`, empty when the server does not say. 0, also for a
// URL that is not of HTTP, whose name stays as it is, or an error as OpenHttp() answers them. The
// listener hears of completed steps and is asked about cancels.
[[nodiscard]] uint32_t QueryName(TransferState* state);

}  // namespace download

#endif  // DOWNLOAD_NAME_QUERY_H_
