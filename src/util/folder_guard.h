#ifndef UTIL_FOLDER_GUARD_H_
#define UTIL_FOLDER_GUARD_H_

#include <windows.h>

#include <string>
#include <vector>

#include "util/unique_handle.h"

// Folders that somebody else may have prepared: links in the place of folders, and folders of other
// owners. Asked on Windows NT 4.0 to 11; Windows 95/98/Me knows neither.
namespace util {

// The system's calls behind this page. A test answers in their place, for not every system can make
// a link or an access list.
struct FolderFunctions {
  decltype(&::CreateFileW) create_file;
  decltype(&::GetFileInformationByHandle) get_information;
  decltype(&::CreateDirectoryW) create_directory;
  // Answers the bytes of a security identifier: of the account that this thread works for, and of
  // the owner of an open folder. Empty when the system does not say.
  std::string (*read_account)();
  std::string (*read_owner)(HANDLE folder);
};
const FolderFunctions& SystemFolderFunctions();

// Opens the folders above the last part of `path`, from the one that ends at or behind `top_chars`
// down, as they are: a link is not followed. While they are held nobody renames or deletes them.
// True when all of them were opened and none is a link; otherwise `held` holds those above the
// first that was not, and GetLastError() is ERROR_CANT_ACCESS_FILE for a link. The innermost comes
// last.
[[nodiscard]] bool HoldFolders(const std::wstring& path, size_t top_chars,
                               const FolderFunctions& functions, std::vector<UniqueFile>* held);

// True for a link, of a file or of a folder. False when nothing is there.
[[nodiscard]] bool IsLink(const std::wstring& path, const FolderFunctions& functions);

// True when the account of this thread is LocalSystem, LocalService or NetworkService.
[[nodiscard]] bool IsServiceAccount(const FolderFunctions& functions = SystemFolderFunctions());

// Make a folder, or a folder and those above it that are missing, for a service account: for
// SYSTEM, administrators and that account alone. Both answer a system error number; the second one
// counts a folder that is there already as made.
[[nodiscard]] DWORD MakeProtectedFolder(const std::wstring& path,
                                        const FolderFunctions& functions = SystemFolderFunctions());
[[nodiscard]] DWORD MakeProtectedFolders(
    const std::wstring& path, const FolderFunctions& functions = SystemFolderFunctions());

// True when the folder is no link and belongs to SYSTEM, Administrators, TrustedInstaller or the
// account of this thread. False, too, for a folder that cannot be asked.
[[nodiscard]] bool IsTrustedFolder(const std::wstring& path,
                                   const FolderFunctions& functions = SystemFolderFunctions());

}  // namespace util

#endif  // UTIL_FOLDER_GUARD_H_
