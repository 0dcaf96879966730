#ifndef APPSEARCH_INSTALLER_FOLDERS_H_
#define APPSEARCH_INSTALLER_FOLDERS_H_

#include <optional>
#include <string>
#include <string_view>

namespace appsearch {

// The folder that the installer knows under `name`, which is case-sensitive like a property: the
// user's own where there is a choice, with a backslash at its end. Nothing for an unknown name and
// for a folder that this system does not have, as the 64-bit ones on a 32-bit system. May load a
// library.
std::optional<std::wstring> FindInstallerFolder(std::string_view name);

}  // namespace appsearch

#endif  // APPSEARCH_INSTALLER_FOLDERS_H_
