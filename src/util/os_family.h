#ifndef UTIL_OS_FAMILY_H_
#define UTIL_OS_FAMILY_H_

namespace util {

// True on Windows NT 4.0 to 11, whose wide file, folder and shell calls are used; false on
// Windows 95, 98 and Me, which get the ANSI forms. Asked of the system once per process. Any
// thread.
bool IsNtFamily();

}  // namespace util

#endif  // UTIL_OS_FAMILY_H_
