#ifndef DOWNLOAD_OPEN_REQUEST_H_
#define DOWNLOAD_OPEN_REQUEST_H_

#include <cstdint>
#include <string>

#include "download/internet_session.h"
#include "download/transfer_state.h"

namespace download {

// Opens what `url` names for reading, as OpenHttp() and OpenFtp() describe; `verb` is for HTTP.
// ERROR_INTERNET_UNRECOGNIZED_SCHEME for every other scheme.
[[nodiscard]] OpenResult OpenRequest(InternetSession* session, TransferState* state,
                                     const std::string& url, uint32_t present, const char* verb);

// True when a failed attempt is worth another one.
[[nodiscard]] bool IsWorthAnotherAttempt(uint32_t error);

// Waits that many tenths of a second, and while the transfer is paused; false when it is cancelled.
[[nodiscard]] bool WaitTenths(const TransferState& state, uint32_t tenths);

inline constexpr uint32_t kTenthsBetweenAttempts = 100;

// Runs `attempt`, OpenResult(), again and again until it does not fail for want of a connection or
// the attempts are used up. One is always made.
template <typename Attempt>
[[nodiscard]] OpenResult RetryConnecting(const TransferState& state, Attempt attempt) {
  for (int32_t left = state.request.retries;; --left) {
    state.SendConnecting();
    const OpenResult opened = attempt();
    if (left <= 0 || !IsWorthAnotherAttempt(opened.result)) return opened;
    if (!WaitTenths(state, kTenthsBetweenAttempts)) return {kCancelled};
  }
}

}  // namespace download

#endif  // DOWNLOAD_OPEN_REQUEST_H_
