#ifndef PREREQ_LISTENER_RELAY_H_
#define PREREQ_LISTENER_RELAY_H_

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "download/download_listener.h"
#include "prereq/progress_reporter.h"
#include "util/unique_handle.h"

namespace prereq {

// Carries what a transfer's worker thread reports to the thread of the action, the only one that
// may talk to the installer. The worker waits for each report to be passed on: so the order is
// kept, and a Cancel that answers a report is seen before the next byte is written. While nothing
// is reported, the user is asked all the same whether he cancels.
class ListenerRelay final : public download::DownloadListener {
 public:
  // `reporter` is borrowed and called on the thread that runs Forward().
  explicit ListenerRelay(ProgressReporter* reporter);

  // Passes reports on until `worker`, a thread, has ended: 0. An error number when it could not be
  // waited for; the worker is told to cancel then, and is not held up by later reports.
  DWORD Forward(HANDLE worker);

  void Start(uint32_t count, bool accumulate) override;
  void OnFileInfo(uint32_t total_bytes, const std::string& local_path) override;
  void OnComplete(uint32_t one) override;
  // Not passed on: it also comes on threads of WinINet, and nothing shows it.
  void OnState(uint32_t state) override;
  void OnProgress(uint32_t bytes) override;
  bool IsCancelled() override { return cancelled_; }
  bool IsPaused() override { return false; }
  void OnError(uint32_t reserved, uint32_t code) override;

 private:
  // Has the other thread call `report` with the reporter, and waits until it has done so.
  template <typename Report>
  void Post(const Report& report);

  ProgressReporter* reporter_;
  std::atomic<bool> cancelled_;
  std::atomic<bool> abandoned_ = false;  // Nobody passes reports on any more.
  // The report on its way: written by the worker before `is_posted_`, read before it is cleared.
  void (*pass_on_)(const void* report, ProgressReporter* reporter) = nullptr;
  const void* report_ = nullptr;
  std::atomic<bool> is_posted_ = false;
  // These only end waits early; neither thread believes one without the flag.
  util::UniqueKernelHandle posted_;
  util::UniqueKernelHandle passed_on_;
};

}  // namespace prereq

#endif  // PREREQ_LISTENER_RELAY_H_
