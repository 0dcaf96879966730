#include "prereq/work_folders.h"

#include <algorithm>

#include "download/partial_file.h"
#include "util/files.h"
#include "util/text.h"

namespace prereq {

std::wstring DownloadFolder(const msi::InstallerSession& session) {
  std::wstring folder = session.GetProperty(contract::kDownloadFolderProperty);
  if (folder.empty()) folder = session.GetProperty(contract::kExtractFolderProperty);
  if (folder.empty()) {
    // The product code alone would be a folder wherever the process happens to be.
    if (session.GetProperty(L"TempFolder").empty()) return {};
    folder = L"[TempFolder][ProductCode]";
  }
  return msi::FormatText(session, folder);
}

std::wstring ExtractFolder(const msi::InstallerSession& session) {
  return msi::FormatText(session, session.GetProperty(contract::kExtractFolderProperty));
}

void PrepareFolderList(const msi::InstallerSession& session) {
  if (!session.GetProperty(kFoldersProperty).empty()) return;
  std::wstring list = NearestExisting(DownloadFolder(session));
  const std::wstring extract = NearestExisting(ExtractFolder(session));
  if (!extract.empty() && extract != list) list += contract::kListDelimiter + extract;
  session.SetProperty(kFoldersProperty, list);
}

void AppendToFileList(const msi::InstallerSession& session, const std::wstring& path) {
  std::wstring list = session.GetProperty(kFilesProperty);
  if (!list.empty()) list += contract::kListDelimiter;
  session.SetProperty(kFilesProperty, list + path);
}

bool HasFolderPrefix(std::wstring_view path, std::wstring_view folder, bool case_sensitive) {
  if (folder.empty() || folder.size() > path.size()) return false;
  for (size_t i = 0; i < folder.size(); ++i) {
    const bool equal = case_sensitive ? path[i] == folder[i]
                                      : util::FoldAscii(path[i]) == util::FoldAscii(folder[i]);
    if (!equal) return false;
  }
  return true;
}

const std::wstring* FindWorkFolder(const std::vector<std::wstring>& folders,
                                   const std::wstring& path) {
  for (const std::wstring& folder : folders) {
    if (HasFolderPrefix(path, folder, /*case_sensitive=*/false)) return &folder;
  }
  return nullptr;
}

std::vector<std::wstring> SplitList(std::wstring list) {
  // Both delimiters, for a job in XML can only say the second one.
  std::replace(list.begin(), list.end(), contract::kPrintableListDelimiter,
               contract::kListDelimiter);
  return util::Split(list, contract::kListDelimiter);
}

DWORD PrepareTransfer(const msi::InstallerSession& session, const std::wstring& path,
                      std::vector<util::UniqueFile>* held, const util::FolderFunctions& functions) {
  const std::wstring folder = path.substr(0, path.find_last_of(L"\\/"));
  if (const DWORD error = PrepareWorkFolder(folder, functions)) return error;
  const std::vector<std::wstring> folders = SplitList(session.GetProperty(kFoldersProperty));
  const std::wstring* const recorded = FindWorkFolder(folders, path);
  // The recorded one, and what lies above, is the user's: a folder for temporary files may well be
  // a link to another drive. A folder that is missing will be made.
  const size_t top_chars = recorded == nullptr ? path.size() + 1 : recorded->size() + 2;
  if (!util::HoldFolders(path, top_chars, functions, held) &&
      ::GetLastError() == ERROR_CANT_ACCESS_FILE) {
    return ERROR_ACCESS_DENIED;
  }
  const bool is_link = util::IsLink(path, functions) ||
                       util::IsLink(path + util::ToWide(download::kPartialFileEnding), functions);
  return is_link ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

DWORD PrepareWorkFolder(const std::wstring& folder, const util::FolderFunctions& functions) {
  if (!util::IsServiceAccount(functions)) return ERROR_SUCCESS;
  if (const DWORD error = util::MakeProtectedFolders(folder, functions)) return error;
  return util::IsTrustedFolder(folder, functions) ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

std::wstring NearestExisting(std::wstring path) {
  while (!path.empty() && !util::PathExists(path)) {
    const size_t separator = path.find_last_of(L"\\/");
    if (separator == std::wstring::npos) break;
    path.resize(separator);
  }
  return path;
}

}  // namespace prereq
