#include "prereq/listener_relay.h"

using download::DownloadListener;

namespace prereq {
namespace {

util::UniqueKernelHandle MakeSignal() {
  return util::UniqueKernelHandle(::CreateEventA(nullptr, FALSE, FALSE, nullptr));
}

}  // namespace

ListenerRelay::ListenerRelay(download::DownloadListener* listener)
    : listener_(listener),
      cancelled_(listener->IsCancelled()),
      posted_(MakeSignal()),
      passed_on_(MakeSignal()) {}

void ListenerRelay::Forward(HANDLE worker) {
  const HANDLE signals[] = {posted_.Get(), worker};
  while (::WaitForMultipleObjects(2, signals, FALSE, INFINITE) == WAIT_OBJECT_0) {
    pass_on_(report_, listener_);
    cancelled_ = listener_->IsCancelled();
    ::SetEvent(passed_on_.Get());
  }
}

void ListenerRelay::Start(uint32_t /*count*/, bool /*accumulate*/) {}

void ListenerRelay::OnFileInfo(uint32_t total_bytes, const std::string& local_path) {
  Post([&](DownloadListener* listener) { listener->OnFileInfo(total_bytes, local_path); });
}

void ListenerRelay::OnComplete(uint32_t one) {
  Post([&](DownloadListener* listener) { listener->OnComplete(one); });
}

void ListenerRelay::OnState(uint32_t /*state*/) {}

void ListenerRelay::OnProgress(uint32_t bytes) {
  Post([&](DownloadListener* listener) { listener->OnProgress(bytes); });
}

void ListenerRelay::OnError(uint32_t reserved, uint32_t code) {
  Post([&](DownloadListener* listener) { listener->OnError(reserved, code); });
}

// Not std::function: it drags the exception code of the run-time library in.
template <typename Report>
void ListenerRelay::Post(const Report& report) {
  pass_on_ = [](const void* posted, DownloadListener* listener) {
    (*static_cast<const Report*>(posted))(listener);
  };
  report_ = &report;
  ::SetEvent(posted_.Get());
  ::WaitForSingleObject(passed_on_.Get(), INFINITE);
}

}  // namespace prereq
