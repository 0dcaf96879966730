#include "prereq/listener_relay.h"

namespace prereq {
namespace {

// After that long without a report the user is asked whether he cancels.
constexpr DWORD kLongestSilenceMs = 500;
// How long the worker waits for a signal before it looks itself.
constexpr DWORD kLookMs = 100;

util::UniqueKernelHandle MakeSignal() {
  return util::UniqueKernelHandle(::CreateEventA(nullptr, FALSE, FALSE, nullptr));
}

}  // namespace

ListenerRelay::ListenerRelay(ProgressReporter* reporter)
    : reporter_(reporter),
      cancelled_(reporter->IsCancelled()),
      posted_(MakeSignal()),
      passed_on_(MakeSignal()) {}

DWORD ListenerRelay::Forward(HANDLE worker) {
  const HANDLE signals[] = {posted_.Get(), worker};
  for (;;) {
    const DWORD signal = ::WaitForMultipleObjects(2, signals, FALSE, kLongestSilenceMs);
    const DWORD error = ::GetLastError();
    if (is_posted_) {
      pass_on_(report_, reporter_);
      cancelled_ = reporter_->IsCancelled();
      is_posted_ = false;
      ::SetEvent(passed_on_.Get());
    } else if (signal == WAIT_OBJECT_0 + 1) {
      return NO_ERROR;
    } else if (signal == WAIT_FAILED) {
      cancelled_ = true;
      abandoned_ = true;
      ::SetEvent(passed_on_.Get());
      return error;
    } else if (signal == WAIT_TIMEOUT && !cancelled_) {
      reporter_->LookForCancel();
      cancelled_ = reporter_->IsCancelled();
    }
  }
}

void ListenerRelay::Start(uint32_t /*count*/, bool /*accumulate*/) {}

void ListenerRelay::OnFileInfo(uint32_t total_bytes, const std::string& local_path) {
  Post([&](ProgressReporter* reporter) { reporter->OnFileInfo(total_bytes, local_path); });
}

void ListenerRelay::OnComplete(uint32_t one) {
  Post([&](ProgressReporter* reporter) { reporter->OnComplete(one); });
}

void ListenerRelay::OnState(uint32_t /*state*/) {}

void ListenerRelay::OnProgress(uint32_t bytes) {
  Post([&](ProgressReporter* reporter) { reporter->OnProgress(bytes); });
}

void ListenerRelay::OnError(uint32_t reserved, uint32_t code) {
  Post([&](ProgressReporter* reporter) { reporter->OnError(reserved, code); });
}

// Not std::function: it drags the exception code of the run-time library in.
template <typename Report>
void ListenerRelay::Post(const Report& report) {
  if (abandoned_) return;
  pass_on_ = [](const void* posted, ProgressReporter* reporter) {
    (*static_cast<const Report*>(posted))(reporter);
  };
  report_ = &report;
  is_posted_ = true;
  ::SetEvent(posted_.Get());
  while (is_posted_ && !abandoned_) {
    if (::WaitForSingleObject(passed_on_.Get(), kLookMs) == WAIT_FAILED) ::Sleep(1);
  }
}

}  // namespace prereq
