#include "prereq/rows.h"

#include <algorithm>
#include <initializer_list>

#include "contract/properties.h"
#include "msi/messages.h"
#include "prereq/work_folders.h"
#include "util/text.h"

namespace prereq {
namespace {

constexpr size_t kLongestUrlNameChars = 30;

Location ToLocation(const std::wstring& number) {
  switch (util::ParseDecimal<int32_t>(number)) {
    case 0:
      return Location::kCarried;
    case 1:
      return Location::kDownloaded;
    default:
      return Location::kNone;
  }
}

// True when the letter stands anywhere in the cell.
bool HasOption(const std::wstring& options, wchar_t letter) {
  return options.find(letter) != std::wstring::npos;
}

// From the URL or, when that gives no full stop, what follows the target's first question mark.
std::wstring DownloadedFileName(const std::wstring& url, const std::wstring& target) {
  std::wstring name = FileNameFromUrl(url);
  if (name.find(L'.') != std::wstring::npos) return name;
  const size_t mark = target.find(L'?');
  return mark == std::wstring::npos ? name : target.substr(mark + 1);
}

// Where the files lie that travel with the package but not inside its setup executable.
std::wstring FolderOfSetupExecutable(const msi::InstallerSession& session) {
  const std::wstring executable = session.GetProperty(contract::kSetupPathProperty);
  if (executable.empty()) return session.GetProperty(contract::kSourceFolderProperty);
  const size_t slash = executable.rfind(L'\\');
  return slash == std::wstring::npos ? executable : executable.substr(0, slash);
}

bool WereRead(const msi::TableRow& row, std::initializer_list<const wchar_t*> columns) {
  return std::ranges::all_of(columns, [&](const wchar_t* name) { return row.WasRead(name); });
}

std::vector<Prerequisite> Load(const msi::InstallerSession& session,
                               std::initializer_list<const wchar_t*> columns) {
  msi::TableSnapshot table(session, kPrerequisiteTable);
  table.Load(columns, {L"Sequence"});
  std::vector<Prerequisite> prerequisites;
  for (const msi::TableRow& row : table) prerequisites.push_back(ReadPrerequisite(row));
  return prerequisites;
}

}  // namespace

std::vector<Prerequisite> LoadPrerequisites(const msi::InstallerSession& session) {
  std::vector<Prerequisite> prerequisites =
      Load(session, {L"SetupFileUrl", L"DisplayName", L"Location", L"ExactSize", L"MD5", L"ComLine",
                     L"Options", L"Sequence", L"Languages", L"MissingCondition", L"Feature_",
                     L"TargetName"});
  for (Prerequisite& one : prerequisites) one.file_path = SetupFilePath(session, one);
  return prerequisites;
}

std::vector<Prerequisite> LoadWithoutFiles(const msi::InstallerSession& session) {
  return Load(session,
              {L"DisplayName", L"Options", L"Languages", L"Feature_", L"MissingCondition"});
}

Prerequisite ReadPrerequisite(const msi::TableRow& row) {
  const std::wstring options = row.Get(L"Options");
  Prerequisite result = {
      .is_readable = WereRead(
          row, {L"SetupFileUrl", L"DisplayName", L"Location", L"ComLine", L"Options", L"Sequence",
                L"Languages", L"MissingCondition", L"Feature_", L"TargetName"}),
      .is_check_readable = WereRead(row, {L"ExactSize", L"MD5"}),
      .display_name = row.Get(L"DisplayName"),
      .url = row.Get(L"SetupFileUrl"),
      .location = ToLocation(row.Get(L"Location")),
      .exact_size = static_cast<uint64_t>(util::ParseDecimal<int64_t>(row.Get(L"ExactSize"))),
      .digest = row.Get(L"MD5"),
      .arguments = row.Get(L"ComLine"),
      .is_mandatory = HasOption(options, kMandatoryOption),
      .is_after_product = HasOption(options, kPostInstallOption),
      .sequence = util::ParseDecimal<uint32_t>(row.Get(L"Sequence")),
      .languages = row.Get(L"Languages"),
      .missing_condition = row.Get(L"MissingCondition"),
      .feature = row.Get(L"Feature_"),
      .file_name = row.Get(L"TargetName"),
      .file_path = {}};
  if (result.location == Location::kDownloaded) {
    result.file_name = DownloadedFileName(result.url, result.file_name);
  }
  return result;
}

std::wstring SetupFilePath(const msi::InstallerSession& session, const Prerequisite& prerequisite) {
  std::wstring folder;
  switch (prerequisite.location) {
    case Location::kDownloaded:
      folder = DownloadFolder(session);
      break;
    case Location::kCarried:
      folder = session.GetProperty(contract::kFilesInsideProperty).empty()
                   ? FolderOfSetupExecutable(session)
                   : ExtractFolder(session);
      break;
    case Location::kNone:
      return {};
  }
  // Nobody said where it lies, such as before `ResolveSource`. A backslash and the name would be a
  // file in the root of whatever drive is the current one.
  if (folder.empty()) return {};
  return util::WithBackslash(std::move(folder)) + prerequisite.file_name;
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

bool FeatureQualifies(const msi::InstallerSession& session, const std::wstring& feature) {
  INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
  INSTALLSTATE action = INSTALLSTATE_UNKNOWN;
  return session.GetFeatureState(feature, &installed, &action) &&
         FeatureQualifies(installed, action);
}

bool IsMissing(const msi::InstallerSession& session, const Prerequisite& prerequisite) {
  return session.GetConditionState(prerequisite.missing_condition) != MSICONDITION_FALSE;
}

const wchar_t* ReasonToPassOver(const msi::InstallerSession& session,
                                const Prerequisite& prerequisite) {
  if (!prerequisite.is_readable) return kUnreadRow;
  if (!LanguageMatches(prerequisite.languages)) return kOtherLanguage;
  if (!IsMissing(session, prerequisite)) return kNotMissing;
  return FeatureQualifies(session, prerequisite.feature) ? nullptr : kOtherFeature;
}

void LogAbout(const msi::InstallerSession& session, const Prerequisite& prerequisite,
              std::wstring_view text, std::wstring_view more, std::wstring_view rest,
              std::wstring_view end) {
  msi::Log(session, {L"\"", prerequisite.display_name, L"\" ", text, more, rest, end});
}

std::wstring FileNameFromUrl(std::wstring_view url) {
  const size_t separator = url.find_last_of(L"\\/:*?\"<>|");
  if (separator != std::wstring_view::npos) url.remove_prefix(separator + 1);
  if (url.size() > kLongestUrlNameChars) url.remove_prefix(url.size() - kLongestUrlNameChars);
  return std::wstring(url);
}

}  // namespace prereq
