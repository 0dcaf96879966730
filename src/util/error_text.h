#ifndef UTIL_ERROR_TEXT_H_
#define UTIL_ERROR_TEXT_H_

#include <windows.h>

#include <string>

namespace util {

// The system's text for an error number, or for 12000 to 12174 that of WinINet, if it
// is loaded, in the user's language and with the line break the system ends it with. A number
// without a text is its own text.
std::wstring ErrorText(DWORD code);

}  // namespace util

#endif  // UTIL_ERROR_TEXT_H_
