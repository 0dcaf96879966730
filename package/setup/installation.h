#ifndef SETUP_INSTALLATION_H_
#define SETUP_INSTALLATION_H_

#include <windows.h>

#include <string>
#include <string_view>

namespace setup {

// Unpacks the package from the archive of the program at `own_path`, installs it with the user's
// arguments and waits for the end. Answers a system error number of the preparation, or 0 with the
// installer's answer in `exit_code`.
//
// The unpacked package stays after a success of the preparation: an installation that goes on
// after a restart needs it, and so does a later repair.
[[nodiscard]] DWORD RunInstallation(const std::wstring& own_path, std::wstring_view users_arguments,
                                    DWORD* exit_code);

}  // namespace setup

#endif  // SETUP_INSTALLATION_H_
