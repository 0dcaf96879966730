#include "prereq/rows.h"

#include "contract/properties.h"
#include "prereq/work_folders.h"
#include "util/text.h"

namespace prereq {
namespace {

constexpr size_t kLongestUrlNameChars = 30;

// Where the files lie that travel with the package but not inside its setup executable.
std::wstring FolderOfSetupExecutable(const msi::InstallerSession& session) {
  const std::wstring executable = session.GetProperty(contract::kSetupPathProperty);
  if (executable.empty()) return session.GetProperty(contract::kSourceFolderProperty);
  const size_t slash = executable.rfind(L'\\');
  return slash == std::wstring::npos ? executable : executable.substr(0, slash);
}

}  // namespace

bool LoadPrerequisites(msi::TableSnapshot* snapshot) {
  return snapshot->Load(
      {L"SetupFileUrl", L"DisplayName", L"Location", L"ExactSize", L"MD5", L"ComLine", L"Options",
       L"Sequence", L"Languages", L"MissingCondition", L"Feature_", L"TargetName"},
      {L"Sequence"});
}

int RowLocation(const msi::TableRow& row) {
  return util::ParseDecimal<int32_t>(row.Get(L"Location"));
}

bool HasOption(const msi::TableRow& row, wchar_t letter) {
  return row.Get(L"Options").find(letter) != std::wstring::npos;
}

bool LanguageMatches(std::wstring_view languages) {
  if (languages.empty()) return true;
  const std::wstring wanted = util::ToDecimal(::GetSystemDefaultLangID());
  for (const std::wstring& language : util::Split(languages, L';')) {
    if (language == wanted) return true;
  }
  return false;
}

bool FeatureQualifies(INSTALLSTATE installed, INSTALLSTATE action) {
  const auto is_present = [](INSTALLSTATE state) {
    return state == INSTALLSTATE_LOCAL || state == INSTALLSTATE_SOURCE;
  };
  return is_present(action) || (action == INSTALLSTATE_DEFAULT && is_present(installed));
}

bool RowFeatureQualifies(const msi::InstallerSession& session, const msi::TableRow& row) {
  INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
  INSTALLSTATE action = INSTALLSTATE_UNKNOWN;
  return session.GetFeatureState(row.Get(L"Feature_"), &installed, &action) &&
         FeatureQualifies(installed, action);
}

bool IsMissing(const msi::InstallerSession& session, const msi::TableRow& row) {
  return session.GetConditionState(row.Get(L"MissingCondition")) != MSICONDITION_FALSE;
}

bool IsSelected(const msi::InstallerSession& session, const msi::TableRow& row) {
  return LanguageMatches(row.Get(L"Languages")) && IsMissing(session, row) &&
         RowFeatureQualifies(session, row);
}

std::wstring FileNameFromUrl(std::wstring_view url) {
  const size_t separator = url.find_last_of(L"\\/:*?\"<>|");
  if (separator != std::wstring_view::npos) url.remove_prefix(separator + 1);
  if (url.size() > kLongestUrlNameChars) url.remove_prefix(url.size() - kLongestUrlNameChars);
  return std::wstring(url);
}

std::wstring DownloadedFileName(const msi::TableRow& row) {
  std::wstring name = FileNameFromUrl(row.Get(L"SetupFileUrl"));
  if (name.find(L'.') != std::wstring::npos) return name;
  const std::wstring target = row.Get(L"TargetName");
  const size_t mark = target.find(L'?');
  return mark == std::wstring::npos ? name : target.substr(mark + 1);
}

std::wstring SetupFileName(const msi::TableRow& row) {
  return RowLocation(row) == kDownloadedLocation ? DownloadedFileName(row) : row.Get(L"TargetName");
}

std::wstring SetupFilePath(const msi::InstallerSession& session, const msi::TableRow& row) {
  std::wstring folder;
  switch (RowLocation(row)) {
    case kDownloadedLocation:
      folder = DownloadFolder(session);
      break;
    case kCarriedLocation:
      folder = session.GetProperty(contract::kFilesInsideProperty).empty()
                   ? FolderOfSetupExecutable(session)
                   : ExtractFolder(session);
      break;
    default:
      return {};
  }
  // Nobody said where it lies, such as before `ResolveSource`. A backslash and the name would be a
  // file in the root of whatever drive is the current one.
  if (folder.empty()) return {};
  return util::WithBackslash(std::move(folder)) + SetupFileName(row);
}

}  // namespace prereq
