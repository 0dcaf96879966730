#include "prereq/cleanup.h"

#include <string>
#include <vector>

#include "contract/properties.h"
#include "download/partial_file.h"
#include "prereq/resume.h"
#include "prereq/work_folders.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/text.h"

namespace prereq {
namespace {

// A path that steps up again could begin with a work folder and lie outside it. No phase makes one,
// but the setup executable names the files that it unpacks. The folder itself is the package's own.
bool StepsUp(const std::wstring& path, const std::wstring& folder) {
  const auto is_separator = [](wchar_t character) {
    return character == L'\\' || character == L'/';
  };
  // The prefix may end within a name.
  size_t begin = folder.size();
  while (begin != 0 && !is_separator(path[begin - 1])) --begin;
  if (path.compare(begin, folder.size() - begin, L"..") == 0) begin = folder.size();
  while (begin < path.size()) {
    size_t end = begin;
    while (end < path.size() && !is_separator(path[end])) ++end;
    const bool is_dots = path.find_first_not_of(L'.', begin) >= end;
    // Windows 95/98/Me goes up once more for each further dot.
    if (is_dots && (end - begin == 2 || (end - begin > 2 && !util::IsNtFamily()))) return true;
    begin = end + 1;
  }
  return false;
}

// Each asks for existence only after a failure: what the system said to have removed need not be
// looked for, and in a folder of thousands the look is what takes time.
bool IsGone(const std::wstring& path, bool removed) { return removed || !util::PathExists(path); }

}  // namespace

void CleanupRunner::Run() const {
  (void)RemoveResumeRegistration(session_.GetProperty(contract::kProductCodeProperty));
  const auto files = SplitList(session_.GetProperty(contract::kFilesProperty));
  const auto folders = SplitList(session_.GetProperty(contract::kFoldersProperty));
  for (const std::wstring& file : files) {
    // Before the disk is asked: a path elsewhere, such as another server's, is not even looked at.
    const std::wstring* const folder = FindWorkFolder(folders, file);
    if (folder == nullptr) {
      if (!file.empty()) Say(L"left, for it lies in no recorded folder: ", file);
    } else if (StepsUp(file, *folder)) {
      Say(L"left, for it steps out of its folder: ", file);
    } else {
      Remove(file, *folder);
    }
  }
}

// Deletes the file and then, upwards, the folders that it leaves empty. The climb ends at the exact
// text of the work folder, though the prefix was found without regard to case. Compatibility: so a
// folder recorded in other characters goes too when it is empty.
void CleanupRunner::Remove(const std::wstring& file, const std::wstring& work_folder) const {
  std::vector<util::UniqueFile> held;
  if (!util::HoldFolders(file, work_folder.size(), functions_, &held)) {
    if (::GetLastError() == ERROR_CANT_ACCESS_FILE) Say(L"left, for it lies below a link: ", file);
    return;
  }
  bool is_gone = false;
  // A transfer that broke off leaves a partial file beside the recorded name.
  for (const std::wstring& path : {file, file + util::ToWide(download::kPartialFileEnding)}) {
    if (!util::FileExists(path)) continue;
    is_gone = IsGone(path, util::RemoveFile(path));
    Say(is_gone ? L"deleted " : L"could not delete ", path);
  }
  std::wstring path = file;
  while (is_gone) {
    const size_t separator = path.find_last_of(L"\\/");
    if (separator == std::wstring::npos) return;
    path.resize(separator);
    if (path == work_folder || path.size() < work_folder.size()) return;
    // Those above stay held.
    if (!held.empty()) held.pop_back();
    is_gone = IsGone(path, util::RemoveFolder(path));
    if (is_gone) Say(L"deleted the folder ", path);
  }
}

void CleanupRunner::Say(const wchar_t* what, const std::wstring& path) const {
  if (is_logging_) msi::Log(session_, std::wstring(L"clean-up ") + what + path);
}

}  // namespace prereq
