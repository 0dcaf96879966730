#include "download/async_link.h"

#include "download/module_path.h"
#include "download/wininet.h"

namespace download {
namespace {

constexpr DWORD kClosingMs = 1000;
constexpr size_t kFirstResponseBytes = 1000;

util::UniqueKernelHandle MakeEvent(const char* suffix) {
  const std::string name = EventName(OwnModulePath(), suffix);
  util::UniqueKernelHandle event(::CreateEventA(nullptr, TRUE, FALSE, name.c_str()));
  // The name may belong to a program of another user, or to something else; the waits need an
  // event all the same.
  if (!event) event.Reset(::CreateEventA(nullptr, TRUE, FALSE, nullptr));
  return event;
}

bool OpensHandle(Operation operation) {
  switch (operation) {
    case Operation::kConnect:
    case Operation::kOpenUrl:
    case Operation::kOpenFtpFile:
    case Operation::kFindFtpFile:
    case Operation::kOpenRequest:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::string EventName(std::string module_path, const char* suffix) {
  for (char& letter : module_path) {
    if (letter == '\\') letter = '_';
  }
  const std::string ending = suffix;
  if (module_path.size() + ending.size() >= MAX_PATH) {
    module_path.resize(module_path.size() - ending.size());
  }
  return module_path + ending;
}

AsyncLink::AsyncLink(TransferState* state)
    : state_(state),
      completion_(MakeEvent("_ev1")),
      closing_(MakeEvent("_ev2")),
      buffer_(std::make_unique<char[]>(kBufferBytes)) {}

void AsyncLink::Begin(Operation operation) {
  operation_ = operation;
  handle_ = nullptr;
  error_ = 0;
  result_ = 0;
  ++references_;  // Of the call; given back where it ends.
  done_ = false;
  pending_ = true;
  // Most calls complete at once, and then there is nothing to reset.
  if (signalled_) {
    signalled_ = false;
    ::ResetEvent(completion_.Get());
  }
}

void AsyncLink::EndAtOnce() {
  done_ = true;
  if (pending_.exchange(false)) Release();
}

void AsyncLink::ReadServerResponse() {
  std::string text(kFirstResponseBytes, '\0');
  for (;;) {
    DWORD error = 0;
    auto length = static_cast<DWORD>(text.size());
    if (Internet().InternetGetLastResponseInfoA(&error, text.data(), &length)) {
      text.resize(length);
      // The text belongs to the thread that talked to the server; any other gets an empty one.
      if (length != 0) server_response_ = std::move(text);
      return;
    }
    if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER || length <= text.size()) return;
    text.resize(length);
  }
}

void AsyncLink::Hold(HINTERNET handle) {
  for (const auto& held : handles_) {
    if (held == handle) return;
  }
  for (auto& held : handles_) {
    HINTERNET expected = nullptr;
    if (held.compare_exchange_strong(expected, handle)) {
      ++references_;
      return;
    }
  }
  // No room to know it again when it closes: the link then stays for good. A leak is better than a
  // callback into memory that is gone.
  ++references_;
}

void AsyncLink::Forget(HINTERNET handle) {
  for (auto& held : handles_) {
    HINTERNET expected = handle;
    if (held.compare_exchange_strong(expected, nullptr)) {
      Release();
      return;
    }
  }
}

void AsyncLink::BeginClosing(HINTERNET handle) {
  closing_handle_ = handle;
  closed_ = false;
  ::ResetEvent(closing_.Get());
}

bool AsyncLink::AwaitClosing() const {
  if (!AwaitFlag(completion_.Get(), done_)) return false;
  (void)AwaitFlag(closing_.Get(), closed_);  // What is not closed yet will be.
  return true;
}

bool AsyncLink::Detach(bool wait) {
  attached_ = false;
  while (inside_ != 0) ::Sleep(1);
  // The library's threads are about to let go of what was closed, or of a call that was cancelled.
  const DWORD start = ::GetTickCount();
  while (wait && references_ != 1 && ::GetTickCount() - start < kClosingMs) ::Sleep(1);
  const bool last = references_ == 1;
  Release();
  return last;
}

void AsyncLink::Release() {
  if (--references_ == 0) delete this;
}

void AsyncLink::SignalCompletion() {
  signalled_ = true;
  ::SetEvent(completion_.Get());
}

void AsyncLink::WaitABit(HANDLE event, const std::atomic<bool>& flag) {
  const DWORD waited = ::WaitForSingleObject(event, kPollMs);
  if (waited == WAIT_TIMEOUT || flag) return;
  // A signal of another process, which would make the next waits a busy loop. None of our own gets
  // lost: the flag is set before the event and looked at before the next wait.
  if (waited != WAIT_OBJECT_0 || !::ResetEvent(event)) ::Sleep(kPollMs);
}

bool AsyncLink::AwaitFlag(HANDLE event, const std::atomic<bool>& flag) {
  const DWORD start = ::GetTickCount();
  while (!flag && ::GetTickCount() - start < kClosingMs) WaitABit(event, flag);
  return flag;
}

void CALLBACK AsyncLink::OnStatus(HINTERNET /*handle*/, DWORD_PTR context, DWORD status, void* info,
                                  DWORD info_bytes) {
  auto* const link = reinterpret_cast<AsyncLink*>(context);
  if (link == nullptr) return;
  switch (status) {
    case INTERNET_STATUS_HANDLE_CREATED:
      if (info_bytes >= sizeof(HINTERNET)) link->Hold(*static_cast<HINTERNET*>(info));
      break;
    case INTERNET_STATUS_HANDLE_CLOSING: {
      if (info_bytes < sizeof(HINTERNET)) break;
      const HINTERNET handle = *static_cast<HINTERNET*>(info);
      if (link->closing_handle_ == handle) link->closed_ = true;
      ::SetEvent(link->closing_.Get());
      link->Forget(handle);  // Last: the link may be gone after it.
      break;
    }
    case INTERNET_STATUS_REQUEST_COMPLETE:
      if (!link->pending_.exchange(false)) break;
      link->OnCompleted(*static_cast<const INTERNET_ASYNC_RESULT*>(info));
      link->Release();
      break;
    default:
      break;
  }
}

void AsyncLink::OnCompleted(const INTERNET_ASYNC_RESULT& result) {
  ++inside_;
  error_ = result.dwError;
  result_ = result.dwResult;
  if (OpensHandle(operation_)) {
    handle_ = reinterpret_cast<HINTERNET>(result.dwResult);
    if (handle_ != nullptr) Hold(handle_);
    ReadServerResponse();
  } else if (operation_ == Operation::kFtpCommand) {
    ReadServerResponse();
  }
  if (attached_) {
    if (OpensHandle(operation_)) state_->SendState(kStepCompleted);
    if (operation_ == Operation::kRead) state_->SendState(kReadCompleted);
  }
  signalled_ = true;
  done_ = true;
  ::SetEvent(completion_.Get());
  --inside_;
}

}  // namespace download
