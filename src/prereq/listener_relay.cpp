#include "prereq/listener_relay.h"

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
    PassOn();
    ::SetEvent(passed_on_.Get());
  }
}

void ListenerRelay::Start(uint32_t /*count*/, bool /*accumulate*/) {}

void ListenerRelay::OnFileInfo(uint32_t total_bytes, const std::string& local_path) {
  Post(Report::kFileInfo, total_bytes, &local_path);
}

void ListenerRelay::OnComplete(uint32_t one) { Post(Report::kComplete, one); }

void ListenerRelay::OnState(uint32_t /*state*/) {}

void ListenerRelay::OnProgress(uint32_t bytes) { Post(Report::kProgress, bytes); }

void ListenerRelay::OnError(uint32_t /*reserved*/, uint32_t code) { Post(Report::kError, code); }

void ListenerRelay::Post(Report report, uint32_t number, const std::string* text) {
  report_ = report;
  number_ = number;
  text_ = text;
  ::SetEvent(posted_.Get());
  ::WaitForSingleObject(passed_on_.Get(), INFINITE);
}

void ListenerRelay::PassOn() {
  switch (report_) {
    case Report::kFileInfo:
      listener_->OnFileInfo(number_, *text_);
      break;
    case Report::kComplete:
      listener_->OnComplete(number_);
      break;
    case Report::kProgress:
      listener_->OnProgress(number_);
      break;
    case Report::kError:
      listener_->OnError(0, number_);
      break;
  }
  cancelled_ = listener_->IsCancelled();
}

}  // namespace prereq
