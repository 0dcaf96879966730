#include "util/wow64.h"

#include "util/os_family.h"

namespace util {
namespace {

// Systems without a 64-bit edition lack these functions.
FARPROC FindInKernel(const char* name) {
  return ::GetProcAddress(::GetModuleHandleA("kernel32.dll"), name);
}

template <typename Function>
Function As(FARPROC function) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(function));
}

}  // namespace

bool Is64BitSystem() {
  if (!IsNtFamily()) return false;  // Windows 95, 98 and Me have no 64-bit edition.
  const auto is_wow64 = As<BOOL(WINAPI*)(HANDLE, BOOL*)>(FindInKernel("IsWow64Process"));
  BOOL answer = FALSE;
  return is_wow64 != nullptr && is_wow64(::GetCurrentProcess(), &answer) && answer;
}

FileRedirectionOff::FileRedirectionOff() : FileRedirectionOff(&FindInKernel) {}

FileRedirectionOff::FileRedirectionOff(Find find) {
  // Both before the first is called: what cannot be switched on again must not be switched off.
  const auto disable = As<BOOL(WINAPI*)(void**)>(find("Wow64DisableWow64FsRedirection"));
  const auto revert = As<BOOL(WINAPI*)(void*)>(find("Wow64RevertWow64FsRedirection"));
  if (disable != nullptr && revert != nullptr && disable(&old_state_)) revert_ = revert;
}

FileRedirectionOff::~FileRedirectionOff() {
  if (revert_ != nullptr) revert_(old_state_);
}

}  // namespace util
