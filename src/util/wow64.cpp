#include "util/wow64.h"

#include "util/find_function.h"
#include "util/os_family.h"

namespace util {
namespace {

// Systems without a 64-bit edition lack these functions.
template <typename Function>
Function FindInKernel(const char* name) {
  return FindFunction<Function>(::GetModuleHandleA("kernel32.dll"), name);
}

}  // namespace

bool Is64BitSystem() {
  if (!IsNtFamily()) return false;  // The older family has no 64-bit edition.
  const auto is_wow64 = FindInKernel<BOOL(WINAPI*)(HANDLE, BOOL*)>("IsWow64Process");
  BOOL answer = FALSE;
  return is_wow64 != nullptr && is_wow64(::GetCurrentProcess(), &answer) && answer;
}

FileRedirectionOff::FileRedirectionOff() {
  const auto disable = FindInKernel<BOOL(WINAPI*)(void**)>("Wow64DisableWow64FsRedirection");
  is_off_ = disable != nullptr && disable(&old_state_);
}

FileRedirectionOff::~FileRedirectionOff() {
  if (!is_off_) return;
  const auto revert = FindInKernel<BOOL(WINAPI*)(void*)>("Wow64RevertWow64FsRedirection");
  if (revert != nullptr) revert(old_state_);
}

}  // namespace util
