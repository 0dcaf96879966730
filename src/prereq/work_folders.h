#ifndef PREREQ_WORK_FOLDERS_H_
#define PREREQ_WORK_FOLDERS_H_

#include <string>
#include <string_view>
#include <vector>

#include "contract/properties.h"
#include "msi/session.h"
#include "util/folder_guard.h"

// The two folders that setup files are put into, and the two properties that tell the clean-up what
// to delete.
namespace prereq {

using contract::kFilesProperty;
using contract::kFoldersProperty;

// Folder of the downloaded setup files, property references resolved. Need not exist yet. Empty
// when the package names none and there is no folder for temporary files.
std::wstring DownloadFolder(const msi::InstallerSession& session);

// Folder of the setup files unpacked from the setup executable; empty when the package names none.
std::wstring ExtractFolder(const msi::InstallerSession& session);

// Fills the folder list, once an installation: a list that is there already stays. What is listed
// of each folder is its nearest existing ancestor: no work folder has been made yet,
// and the clean-up removes the emptied folders below a listed one but never that one itself.
void PrepareFolderList(const msi::InstallerSession& session);

// Puts one more file on the list of those that the clean-up deletes.
void AppendToFileList(const msi::InstallerSession& session, const std::wstring& path);

// Compatibility: true when `path` begins with the text of `folder`, without a delimiter behind
// it. An empty folder is no prefix. Without regard to case only A to Z are folded.
bool HasFolderPrefix(std::wstring_view path, std::wstring_view folder, bool case_sensitive);

// The first of the folders that is, by its text and without regard to case, the beginning of the
// path; null when there is none.
const std::wstring* FindWorkFolder(const std::vector<std::wstring>& folders,
                                   const std::wstring& path);

// The entries of one of the two lists.
std::vector<std::wstring> SplitList(std::wstring list);

// Before a file is put at `path` below the download folder: holds the folders below the recorded
// work folder as long as `held` lives. Answers ERROR_ACCESS_DENIED when one of them, or the file,
// is a link; for a service account also when the folder is not its own or an administrator's. Such
// an account's folder is made here, so that no other account can write to it. 0 otherwise.
[[nodiscard]] DWORD PrepareTransfer(
    const msi::InstallerSession& session, const std::wstring& path,
    std::vector<util::UniqueFile>* held,
    const util::FolderFunctions& functions = util::SystemFolderFunctions());

// Before files are put into a work folder by somebody else, or one that lies there is run. For a
// service account a missing folder is made as above, and ERROR_ACCESS_DENIED answered for one that
// is a link or of another owner. 0 otherwise.
[[nodiscard]] DWORD PrepareWorkFolder(
    const std::wstring& folder,
    const util::FolderFunctions& functions = util::SystemFolderFunctions());

// The path itself when it exists, else its nearest existing ancestor, else what is left when no
// separator is.
std::wstring NearestExisting(std::wstring path);

}  // namespace prereq

#endif  // PREREQ_WORK_FOLDERS_H_
