#include "prereq/work_folders.h"

#include "util/files.h"

namespace prereq {

std::wstring DownloadFolder(const msi::InstallerSession& session) {
  std::wstring folder = session.GetProperty(contract::kDownloadFolderProperty);
  if (folder.empty()) folder = session.GetProperty(contract::kExtractFolderProperty);
  if (folder.empty()) folder = L"[TempFolder][ProductCode]";
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

std::wstring NearestExisting(std::wstring path) {
  while (!path.empty() && !util::PathExists(path)) {
    const size_t separator = path.find_last_of(L"\\/");
    if (separator == std::wstring::npos) break;
    path.resize(separator);
  }
  return path;
}

}  // namespace prereq
