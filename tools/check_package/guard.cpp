#include "guard.h"

namespace check {
namespace {

constexpr DWORD kMillisecondsPerSecond = 1000;

const Guard* current = nullptr;

}  // namespace

Guard::Guard(DWORD limit_seconds, std::function<void(const wchar_t*)> end)
    : limit_ms_(limit_seconds * kMillisecondsPerSecond),
      end_(std::move(end)),
      done_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
  current = this;
  ::SetUnhandledExceptionFilter(&OnCrash);
  thread_.Reset(::CreateThread(nullptr, 0, &Watch, this, 0, nullptr));
}

Guard::~Guard() {
  ::SetEvent(done_.Get());
  if (thread_) ::WaitForSingleObject(thread_.Get(), INFINITE);
  ::SetUnhandledExceptionFilter(nullptr);
  current = nullptr;
}

DWORD WINAPI Guard::Watch(void* self) {
  const auto* const guard = static_cast<const Guard*>(self);
  if (::WaitForSingleObject(guard->done_.Get(), guard->limit_ms_) == WAIT_TIMEOUT) {
    guard->end_(L"the installer does not get through with this file, which must be damaged");
  }
  return 0;
}

LONG WINAPI Guard::OnCrash(EXCEPTION_POINTERS* crash) {
  MEMORY_BASIC_INFORMATION place = {};
  ::VirtualQuery(crash->ExceptionRecord->ExceptionAddress, &place, sizeof(place));
  if (place.AllocationBase != ::GetModuleHandleW(nullptr)) {
    current->end_(L"the installer fails on this file, which must be damaged");
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace check
