#ifndef DOWNLOAD_ASYNC_LINK_H_
#define DOWNLOAD_ASYNC_LINK_H_

#include <windows.h>
#include <wininet.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "download/transfer_state.h"
#include "util/unique_handle.h"

namespace download {

// The asynchronous call that is under way.
enum class Operation : uint8_t {
  kConnect = 0,
  kOpenFtpFile = 2,
  kRead = 3,
  kFindFtpFile = 5,
  kOpenRequest = 6,
  kSend = 7,
  kQueryAvailable = 8,
};

// True when the call's result is a handle.
[[nodiscard]] bool OpensHandle(Operation operation);

// Name of a kernel event made from a module's path: backslashes become underscores, and when path
// and suffix together reach 260 characters, the suffix takes the place of the path's end.
std::string EventName(std::string module_path, const char* suffix);

// Where WinINet's threads leave what an asynchronous call came to, and where it puts
// the data meanwhile: its callbacks, and its writes to buffers, can come after the worker gave up
// and even after the downloader is gone. So the link counts what can still call back, each open
// handle and the call under way, and goes with the last of them. No locks: the callback hands over
// by calling it done, the worker looks at results only after it. The events only end waits early;
// their names are the same for every process that uses this module, so a signal proves nothing.
class AsyncLink {
 public:
  static constexpr DWORD kBufferBytes = 51200;

  // With one reference, the worker's. The session passes the link as context of its calls.
  explicit AsyncLink(TransferState* state);
  AsyncLink(const AsyncLink&) = delete;
  AsyncLink& operator=(const AsyncLink&) = delete;

  // The worker's side of a call: Begin() before it, EndAtOnce() with what it answered when it did
  // not become pending.
  void Begin(Operation operation);
  void EndAtOnce(DWORD_PTR result);
  [[nodiscard]] bool IsDone() const { return call_ == Call::kDone; }
  // Up to 10 ms, less when the call completes.
  void WaitForCompletion() const;

  // Once done: the two words of the result, the second also as the handle that the call gave.
  [[nodiscard]] DWORD error() const { return error_; }
  [[nodiscard]] DWORD_PTR result() const { return result_; }
  [[nodiscard]] HINTERNET handle() const { return reinterpret_cast<HINTERNET>(result_); }
  // Bytes read or available: a call that succeeded later leaves them in the error word.
  [[nodiscard]] DWORD moved() const { return static_cast<int32_t>(error_) > 0 ? error_ : count; }
  [[nodiscard]] const std::string& server_response() const { return server_response_; }
  // Takes the last response text of a server over, on the thread that talked to it: any other gets
  // none. What is there stays when there is none. Worker, or callback of an open call.
  void ReadServerResponse();

  // Places that the library may write to for as long as a call is under way.
  DWORD count = 0;
  WIN32_FIND_DATAA found = {};
  char* buffer() { return buffer_.get(); }

  // A handle that was opened with this link as its context; idempotent. Beyond kMaxHandles open
  // ones the link never goes.
  void Hold(HINTERNET handle);
  // Around closing a handle. The wait is for the call under way, then for the handle itself, up to
  // 1000 ms each; false when the call is stuck.
  void BeginClosing(HINTERNET handle);
  bool AwaitClosing() const;
  // Sets the completion event for whoever else waits for it; no call counts as done by it.
  void SignalCompletion();

  // The end of the worker's use: no callback reaches the state or its listener from here on. True
  // when none is to come at all, for which `wait` waits up to 1000 ms.
  bool Detach(bool wait);

  static void CALLBACK OnStatus(HINTERNET handle, DWORD_PTR context, DWORD status, void* info,
                                DWORD info_bytes);

 private:
  // Where the call under way stands. Only the side that moves it out of kPending, the callback or
  // the worker, gives its reference back.
  enum class Call : uint8_t {
    kDone,
    kPending,
    kCompleting,  // The callback leaves the results and tells the listener.
    kAbandoned,   // The worker is gone before it was done.
  };
  static constexpr size_t kMaxHandles = 8;

  ~AsyncLink() = default;
  void OnCompleted(const INTERNET_ASYNC_RESULT& result);
  void Forget(HINTERNET handle);
  void Release();
  template <typename Condition>
  static void WaitABit(HANDLE event, Condition is_met);
  template <typename Condition>
  static bool AwaitCondition(HANDLE event, Condition is_met);

  TransferState* state_;
  std::atomic<int> references_{1};
  std::atomic<HINTERNET> handles_[kMaxHandles] = {};
  std::atomic<HINTERNET> closing_handle_{nullptr};  // Null once it has closed.
  std::atomic<Call> call_{Call::kDone};
  std::atomic<bool> signalled_{false};  // The completion event, by this link.
  Operation operation_ = Operation::kConnect;
  DWORD error_ = 0;
  DWORD_PTR result_ = 0;
  std::string server_response_;
  util::UniqueKernelHandle completion_;
  util::UniqueKernelHandle closing_;
  std::unique_ptr<char[]> buffer_;
};

}  // namespace download

#endif  // DOWNLOAD_ASYNC_LINK_H_
