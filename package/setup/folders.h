#ifndef SETUP_FOLDERS_H_
#define SETUP_FOLDERS_H_

#include <string>

namespace setup {

// Makes a folder below the user's folder for temporary files that was not there before: what others
// put under a name they guess is never used. Empty, with the reason in GetLastError(), on failure.
[[nodiscard]] std::wstring MakeOwnTempFolder();

// Full path of the running program.
[[nodiscard]] std::wstring OwnPath();

}  // namespace setup

#endif  // SETUP_FOLDERS_H_
