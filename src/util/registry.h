#ifndef UTIL_REGISTRY_H_
#define UTIL_REGISTRY_H_

#include <windows.h>

#include <string>

#include "util/unique_handle.h"

// Wide texts go to the wide calls on Windows NT 4.0 to 11 and to the ANSI ones, in the ANSI code
// page, on Windows 95/98/Me. A failure is an empty key or false, without a reason: GetLastError()
// does not speak of the registry.
namespace util {

// Opens the key `path` below `root`, which is borrowed. The narrow form takes a path in the ANSI
// code page and makes the ANSI call on every system.
UniqueRegistryKey OpenRegistryKey(HKEY root, const std::wstring& path, REGSAM access);
UniqueRegistryKey OpenRegistryKey(HKEY root, const std::string& path, REGSAM access);
// As the wide form above; a key that is not there is made, with those above it.
UniqueRegistryKey CreateRegistryKey(HKEY root, const std::wstring& path, REGSAM access);

// Writes `text` as a REG_SZ value in place of any value of that name.
bool WriteRegistryText(HKEY key, const std::wstring& name, const std::wstring& text);

// False also when there is no such value.
bool RemoveRegistryValue(HKEY key, const std::wstring& name);

}  // namespace util

#endif  // UTIL_REGISTRY_H_
