#ifndef UTIL_FIND_FUNCTION_H_
#define UTIL_FIND_FUNCTION_H_

#include <windows.h>

namespace util {

// The function of that name in a loaded module, which stays the caller's to keep loaded; null when
// the module does not export it. For functions that the oldest systems lack. `Function` is a
// pointer type, which nothing checks against the name.
template <typename Function>
Function FindFunction(HMODULE module, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

}  // namespace util

#endif  // UTIL_FIND_FUNCTION_H_
