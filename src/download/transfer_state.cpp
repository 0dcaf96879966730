#include "download/transfer_state.h"

namespace download {

void TransferState::WaitWhilePaused(const std::atomic<bool>* done) const {
  while (listener != nullptr && listener->IsPaused()) {
    if ((done != nullptr && *done) || IsCancelled()) return;
    ::Sleep(kPollMs);
  }
}

}  // namespace download
