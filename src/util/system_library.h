#ifndef UTIL_SYSTEM_LIBRARY_H_
#define UTIL_SYSTEM_LIBRARY_H_

#include "util/unique_handle.h"

namespace util {

// Loads the library `name` (ASCII) by its full path in the system's folder, so that one of that
// name beside the program or in the current folder is never taken for it. Empty, with the reason
// in GetLastError(), when that fails.
UniqueModule LoadSystemLibrary(const char* name);

}  // namespace util

#endif  // UTIL_SYSTEM_LIBRARY_H_
