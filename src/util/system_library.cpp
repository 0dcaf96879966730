#include "util/system_library.h"

#include <cstring>

namespace util {

UniqueModule LoadSystemLibrary(const char* name) {
  char path[MAX_PATH];
  const UINT length = ::GetSystemDirectoryA(path, MAX_PATH);
  // Without its folder the name would be searched for.
  if (length == 0 || length + 1 + std::strlen(name) >= MAX_PATH) return {};
  path[length] = '\\';
  std::memcpy(path + length + 1, name, std::strlen(name) + 1);
  return UniqueModule(::LoadLibraryA(path));
}

}  // namespace util
