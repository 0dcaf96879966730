#ifndef PREREQ_WORK_FOLDERS_H_
#define PREREQ_WORK_FOLDERS_H_

#include <string>

#include "contract/properties.h"
#include "msi/session.h"

// The two folders that setup files are put into, and the two properties that tell the clean-up what
// to delete.
namespace prereq {

using contract::kFilesProperty;
using contract::kFoldersProperty;

// Folder of the downloaded setup files, property references resolved. Need not exist yet.
std::wstring DownloadFolder(const msi::InstallerSession& session);

// Folder of the setup files unpacked from the setup executable; empty when the package names none.
std::wstring ExtractFolder(const msi::InstallerSession& session);

// Fills the folder list, once an installation: a list that is there already stays. What is listed
// of each folder is its nearest existing ancestor: no work folder has been made yet,
// and the clean-up removes the emptied folders below a listed one but never that one itself.
void PrepareFolderList(const msi::InstallerSession& session);

// Puts one more file on the list of those that the clean-up deletes.
void AppendToFileList(const msi::InstallerSession& session, const std::wstring& path);

// The path itself when it exists, else its nearest existing ancestor, else what is left when no
// separator is.
std::wstring NearestExisting(std::wstring path);

}  // namespace prereq

#endif  // PREREQ_WORK_FOLDERS_H_
