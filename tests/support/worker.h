#ifndef TESTS_SUPPORT_WORKER_H_
#define TESTS_SUPPORT_WORKER_H_

#include <windows.h>

#include <functional>
#include <utility>

#include "util/unique_handle.h"

namespace test {

// A thread of a test, awaited on destruction. What it does must not use the test framework.
class Worker {
 public:
  explicit Worker(std::function<void()> work)
      : work_(std::move(work)), thread_(::CreateThread(nullptr, 0, &Run, this, 0, nullptr)) {}
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() { Join(); }

  void Join() const { ::WaitForSingleObject(thread_.Get(), INFINITE); }

 private:
  static DWORD WINAPI Run(LPVOID self) {
    static_cast<Worker*>(self)->work_();
    return 0;
  }

  std::function<void()> work_;
  util::UniqueKernelHandle thread_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_WORKER_H_
