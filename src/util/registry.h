#ifndef UTIL_REGISTRY_H_
#define UTIL_REGISTRY_H_

#include <windows.h>

#include <string>

#include "util/unique_handle.h"

// The wide form of every call on the NT family; on the older one the ANSI form, with texts in the
// ANSI code page. A failure is an empty key or false, without a reason: GetLastError() does not
// speak of the registry.
namespace util {

// Opens the key `path` below `root`, which is borrowed.
UniqueRegistryKey OpenRegistryKey(HKEY root, const std::wstring& path, REGSAM access);
// The same; a key that is not there is made, with those above it.
UniqueRegistryKey CreateRegistryKey(HKEY root, const std::wstring& path, REGSAM access);

// Writes `text` as a REG_SZ value in place of any value of that name.
bool WriteRegistryText(HKEY key, const std::wstring& name, const std::wstring& text);

// False also when there is no such value.
bool RemoveRegistryValue(HKEY key, const std::wstring& name);

}  // namespace util

#endif  // UTIL_REGISTRY_H_
