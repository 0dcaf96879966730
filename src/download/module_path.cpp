#include "download/module_path.h"

#include <windows.h>

// The linker's name for the start of the module.
extern "C" IMAGE_DOS_HEADER __ImageBase;  // NOLINT(bugprone-reserved-identifier)

namespace download {

std::string OwnModulePath() {
  char path[MAX_PATH];
  return std::string(path,
                     ::GetModuleFileNameA(reinterpret_cast<HMODULE>(&__ImageBase), path, MAX_PATH));
}

void PinOwnModule() {
  (void)::LoadLibraryA(OwnModulePath().c_str());  // One more reference, never given back.
}

}  // namespace download
