#ifndef APPSEARCH_REGISTRY_VALUES_H_
#define APPSEARCH_REGISTRY_VALUES_H_

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

#include "util/unique_handle.h"

// The registry as package authors write it: "HKLM\key path" or "HKLM\key path\value name".
namespace appsearch {

// "HKLM", "HKCU", "HKCR" and "HKCC". Compatibility: any other name counts as HKEY_USERS; there is
// no error for an unknown root.
HKEY ParseRoot(std::string_view name);

// Opens a key for reading. Empty when it does not open, which a path without a backslash never
// does. `view64` looks at the 64-bit system's registry, where there is one.
util::UniqueRegistryKey OpenKey(const std::string& path, bool view64);

struct ValuePath {
  std::string key;
  std::string name;
};

// Cuts at the last backslash; nothing when there is none.
std::optional<ValuePath> SplitValuePath(const std::string& path);

// The value reader of comparisons and references: REG_SZ as its text, REG_DWORD and REG_QWORD as a
// decimal number; nothing when it cannot be read. A value of any other type is read again and
// again, as long as it keeps that type: do not point it at one.
std::optional<std::wstring> ReadComparableValue(HKEY key, const std::string& name);

// Any value as text in the ANSI code page: numbers as above, texts up to the first zero, every
// other type as its bytes up to the first zero; nothing when it cannot be read or, on the NT
// family, the code page cannot say it.
std::optional<std::string> ReadValueText(HKEY key, const std::string& name);

}  // namespace appsearch

#endif  // APPSEARCH_REGISTRY_VALUES_H_
