#ifndef UTIL_OS_FAMILY_H_
#define UTIL_OS_FAMILY_H_

namespace util {

// True on the NT family, whose wide file, folder and shell calls are used; false on the older
// family, which gets the ANSI forms. Asked of the system once per process. Any thread.
bool IsNtFamily();

}  // namespace util

#endif  // UTIL_OS_FAMILY_H_
