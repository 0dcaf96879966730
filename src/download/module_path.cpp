#include "download/module_path.h"

#include <windows.h>

#include "util/find_function.h"

// The linker's name for the start of the module.
extern "C" IMAGE_DOS_HEADER __ImageBase;  // NOLINT(bugprone-reserved-identifier)

namespace download {

std::string OwnModulePath() {
  char path[MAX_PATH];
  return std::string(path,
                     ::GetModuleFileNameA(reinterpret_cast<HMODULE>(&__ImageBase), path, MAX_PATH));
}

void PinOwnModule() {
  // By address where the system can: a path need not be expressible in the ANSI code page.
  using GetModule = BOOL(WINAPI*)(DWORD, const wchar_t*, HMODULE*);
  const auto get_module =
      util::FindFunction<GetModule>(::GetModuleHandleA("kernel32.dll"), "GetModuleHandleExW");
  HMODULE module = nullptr;
  if (get_module != nullptr &&
      get_module(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                 reinterpret_cast<const wchar_t*>(&__ImageBase), &module)) {
    return;
  }
  (void)::LoadLibraryA(OwnModulePath().c_str());  // One more reference, never given back.
}

}  // namespace download
