#include "prereq/cleanup.h"

#include <string>
#include <vector>

#include "contract/properties.h"
#include "download/partial_file.h"
#include "prereq/resume.h"
#include "util/files.h"
#include "util/text.h"

namespace prereq {
namespace {

// A path that steps up again could begin with a work folder and lie outside it. No phase makes one,
// but the setup executable names the files that it unpacks.
bool StepsUp(const std::wstring& path) {
  for (size_t at = path.find(L".."); at != std::wstring::npos; at = path.find(L"..", at + 1)) {
    const auto ends = [&](size_t index) {
      return index >= path.size() || path[index] == L'\\' || path[index] == L'/';
    };
    if (at != 0 && ends(at - 1) && ends(at + 2)) return true;
  }
  return false;
}

const std::wstring* FindWorkFolder(const std::vector<std::wstring>& folders,
                                   const std::wstring& file) {
  for (const std::wstring& folder : folders) {
    if (HasFolderPrefix(file, folder, /*case_sensitive=*/false)) return &folder;
  }
  return nullptr;
}

// Each asks for existence only after a failure: what the system said to have removed need not be
// looked for, and in a folder of thousands the look is what takes time.
bool IsGone(const std::wstring& path, bool removed) { return removed || !util::PathExists(path); }

// Deletes the file and then, upwards, the folders that it leaves empty. The climb ends at the exact
// text of the work folder, though the prefix was found without regard to case. Compatibility: so a
// folder recorded in other letters goes too when it is empty.
void RemoveWithEmptyFolders(std::wstring path, const std::wstring& work_folder) {
  bool gone = IsGone(path, util::RemoveFile(path));
  while (gone) {
    const size_t separator = path.find_last_of(L"\\/");
    if (separator == std::wstring::npos) return;
    path.resize(separator);
    if (path == work_folder || path.size() < work_folder.size()) return;
    gone = IsGone(path, util::RemoveFolder(path));
  }
}

}  // namespace

bool HasFolderPrefix(std::wstring_view path, std::wstring_view folder, bool case_sensitive) {
  if (folder.empty() || folder.size() > path.size()) return false;
  for (size_t i = 0; i < folder.size(); ++i) {
    const bool equal = case_sensitive ? path[i] == folder[i]
                                      : util::FoldAscii(path[i]) == util::FoldAscii(folder[i]);
    if (!equal) return false;
  }
  return true;
}

void CleanupRunner::Run() const {
  (void)RemoveResumeRegistration(session_.GetProperty(contract::kProductCodeProperty));
  const std::wstring partial_ending = util::ToWide(download::kPartialFileEnding);
  const auto files =
      util::Split(session_.GetProperty(contract::kFilesProperty), contract::kListDelimiter);
  const auto folders =
      util::Split(session_.GetProperty(contract::kFoldersProperty), contract::kListDelimiter);
  for (const std::wstring& file : files) {
    // A transfer that broke off leaves a partial file beside the recorded name.
    for (const std::wstring& path : {file, file + partial_ending}) {
      if (!util::FileExists(path) || StepsUp(path)) continue;
      const std::wstring* const folder = FindWorkFolder(folders, path);
      if (folder != nullptr) RemoveWithEmptyFolders(path, *folder);
    }
  }
}

}  // namespace prereq
