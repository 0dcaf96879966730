#ifndef SETUP_FOLDERS_H_
#define SETUP_FOLDERS_H_

#include <windows.h>

#include <string>

namespace setup {

// Makes a folder below the folder for temporary files that was not there before: what others put
// under a name they guess is never used. For a service account it is made for that account and
// administrators alone. Empty, with the reason in GetLastError(), on failure, also when there is no
// folder for temporary files.
[[nodiscard]] std::wstring MakeOwnTempFolder();

// A call of the form of GetTempPathW.
using ReadTempPath = DWORD(WINAPI*)(DWORD size, wchar_t* buffer);
// The folder for temporary files, with a backslash at its end: by `read_protected`, which gives
// LocalSystem a folder that nobody else reaches, or where that is null by GetTempPathW. Empty on
// failure.
[[nodiscard]] std::wstring TempFolder(ReadTempPath read_protected);
// Windows has it since 11; null where it is missing.
[[nodiscard]] ReadTempPath FindProtectedTempPath();

// Makes the folders that files are unpacked to. Answers a system error number; for a service
// account ERROR_ACCESS_DENIED when the last one is a link or belongs to somebody else.
[[nodiscard]] DWORD MakeTargetFolders(const std::wstring& path);

// From here on libraries are loaded from the system folder alone, as far as the system can say so:
// whoever can write to the folder of a download must not put one beside the program.
void LimitLibraryFolders();

// Full path of the running program.
[[nodiscard]] std::wstring OwnPath();

}  // namespace setup

#endif  // SETUP_FOLDERS_H_
