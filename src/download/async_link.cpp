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

}  // namespace

bool OpensHandle(Operation operation) {
  switch (operation) {
    case Operation::kConnect:
    case Operation::kOpenFtpFile:
    case Operation::kFindFtpFile:
    case Operation::kOpenRequest:
      return true;
    default:
      return false;
  }
}

std::string EventName(std::string module_path, const char* suffix) {
  for (char& character : module_path) {
    if (character == '\\') character = '_';
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
  error_ = 0;
  result_ = 0;
  count = 0;
  ++references_;  // Of the call; given back where it ends.
  call_ = Call::kPending;
  // Most calls complete at once, and then there is nothing to reset.
  if (signalled_) {
    signalled_ = false;
    ::ResetEvent(completion_.Get());
  }
}

void AsyncLink::EndAtOnce(DWORD_PTR result) {
  Call expected = Call::kPending;
  if (call_.compare_exchange_strong(expected, Call::kDone)) {
    Release();
  } else {
    while (!IsDone()) ::Sleep(1);  // The library calls back for it all the same.
  }
  error_ = 0;
  result_ = result;
  if (result != 0 && OpensHandle(operation_)) Hold(handle());
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
  ::ResetEvent(closing_.Get());
}

template <typename Condition>
void AsyncLink::WaitABit(HANDLE event, Condition is_met) {
  const DWORD waited = ::WaitForSingleObject(event, kPollMs);
  if (waited == WAIT_TIMEOUT || is_met()) return;
  // A signal of another process, which would make the next waits a busy loop. None of our own gets
  // lost: the condition is met before the event and looked at before the next wait.
  if (waited != WAIT_OBJECT_0 || !::ResetEvent(event)) ::Sleep(kPollMs);
}

template <typename Condition>
bool AsyncLink::AwaitCondition(HANDLE event, Condition is_met) {
  const DWORD start = ::GetTickCount();
  while (!is_met() && ::GetTickCount() - start < kClosingMs) WaitABit(event, is_met);
  return is_met();
}

void AsyncLink::WaitForCompletion() const {
  WaitABit(completion_.Get(), [this] { return IsDone(); });
}

bool AsyncLink::AwaitClosing() const {
  if (!AwaitCondition(completion_.Get(), [this] { return IsDone(); })) return false;
  // What is not closed yet will be.
  (void)AwaitCondition(closing_.Get(), [this] { return closing_handle_ == nullptr; });
  return true;
}

bool AsyncLink::Detach(bool wait) {
  Call expected = Call::kPending;
  if (!call_.compare_exchange_strong(expected, Call::kAbandoned)) {
    while (!IsDone()) ::Sleep(1);
  }
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
      HINTERNET expected = handle;
      link->closing_handle_.compare_exchange_strong(expected, nullptr);
      ::SetEvent(link->closing_.Get());
      link->Forget(handle);  // Last: the link may be gone after it.
      break;
    }
    case INTERNET_STATUS_REQUEST_COMPLETE:
      link->OnCompleted(*static_cast<const INTERNET_ASYNC_RESULT*>(info));
      break;
    default:
      break;
  }
}

// The link may be gone after it.
void AsyncLink::OnCompleted(const INTERNET_ASYNC_RESULT& result) {
  Call call = Call::kPending;
  const bool awaited = call_.compare_exchange_strong(call, Call::kCompleting);
  // Nobody waits any more, but a handle that comes now still knows the link.
  if (!awaited &&
      !(call == Call::kAbandoned && call_.compare_exchange_strong(call, Call::kCompleting))) {
    return;
  }
  error_ = result.dwError;
  result_ = result.dwResult;
  if (OpensHandle(operation_)) {
    if (handle() != nullptr) Hold(handle());
    ReadServerResponse();
  }
  if (awaited) {
    if (OpensHandle(operation_)) state_->SendState(kStepCompleted);
    if (operation_ == Operation::kRead) state_->SendState(kReadCompleted);
  }
  signalled_ = true;
  call_ = Call::kDone;
  ::SetEvent(completion_.Get());
  Release();
}

}  // namespace download
