#include <algorithm>
#include <iterator>

#include "checks.h"
#include "conditions.h"
#include "contract/properties.h"
#include "prereq/carried_properties.h"
#include "util/text.h"

namespace check {
namespace {

constexpr wchar_t kTable[] = L"Property";

// What the library reads, in the way it reads them.
constexpr const wchar_t* kNames[] = {
    contract::kDownloadFolderProperty, contract::kExtractFolderProperty,
    contract::kFilesInsideProperty,    contract::kSetupPathProperty,
    contract::kExternalUiProperty,     contract::kResumeProperty,
    contract::kSecureProperty};

// Folders below which every user can make others.
constexpr const wchar_t* kOpenFolders[] = {
    L"[WindowsVolume]", L"[ROOTDRIVE]", L"[CommonAppDataFolder]", L"[PrimaryVolumePath]", L"\\\\"};

std::wstring Folded(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(), &util::FoldAscii);
  return text;
}

void CheckSecure(const Context& context) {
  const Place place = {kTable, contract::kSecureProperty, {}};
  const bool installs =
      context.schedule.Runs(Phase::kInstall) || context.schedule.Runs(Phase::kInstallPost);
  if (installs && !context.properties.IsSecure(contract::kResumeProperty)) {
    context.report->Add(kResumeNotSecure, place);
  }
  for (const std::wstring& name :
       util::Split(context.package.DefaultOf(contract::kSecureProperty), L';')) {
    if (name.empty()) continue;
    const bool has_blank = name.front() == L' ' || name.back() == L' ';
    if (!has_blank && prereq::IsPublicPropertyName(name)) continue;
    context.report->Add(has_blank ? kBlankInSecure : kSmallInSecure, place, {name});
  }
}

// Prerequisites inside the setup executable.
void CheckPacked(const Context& context) {
  if (!context.properties.IsSet(contract::kFilesInsideProperty)) return;
  const bool any_inside = std::any_of(context.prerequisites.begin(), context.prerequisites.end(),
                                      [](const PrerequisiteRow& row) { return row.IsCarried(); });
  if (!any_inside || context.schedule.execute.First(Phase::kExtract) == nullptr) return;
  const bool has_folder = !context.package.DefaultOf(contract::kExtractFolderProperty).empty() ||
                          context.properties.IsSetOtherwise(contract::kExtractFolderProperty);
  for (const wchar_t* name : {contract::kExtractFolderProperty, contract::kSetupPathProperty}) {
    if (context.properties.IsSecure(name) ||
        (name == contract::kExtractFolderProperty && has_folder))
      continue;
    context.report->Add(kNotPassedOn, {kTable, contract::kSecureProperty, {}}, {name});
  }
}

void CheckFolder(const Context& context, const wchar_t* name) {
  const std::wstring value = context.package.DefaultOf(name);
  if (value.empty() || context.package.session() == nullptr) return;
  const Place place = {kTable, name, {}};
  bool is_known = true;
  for (const std::wstring& reference : PropertiesInText(value)) {
    if (context.properties.IsSet(reference)) continue;
    is_known = false;
    context.report->Add(kFolderOnUnset, place, {reference});
  }
  // Folders of the package are known only later.
  const std::set<std::wstring> folders = context.package.Cells(L"Directory", L"Directory");
  const bool names_folder = std::any_of(
      folders.begin(), folders.end(),
      [&](const std::wstring& folder) { return value.find(L"[" + folder + L"]") != value.npos; });
  const std::wstring folder = context.package.Format(value);
  const bool is_full = folder.starts_with(L'\\') || folder.find(L':') != folder.npos;
  if (is_known && !names_folder && !is_full) context.report->Add(kNoFullPath, place, {value});
}

// A drive's root and a share are open to all, as far as the package can know.
void CheckWhoCanWrite(const Context& context) {
  const std::wstring value = context.package.DefaultOf(contract::kDownloadFolderProperty);
  const bool has_drive = value.size() > 1 && value[1] == L':';
  if (has_drive || std::any_of(std::begin(kOpenFolders), std::end(kOpenFolders),
                               [&](const wchar_t* open) { return value.starts_with(open); })) {
    context.report->Add(kOthersWrite, {kTable, contract::kDownloadFolderProperty, {}}, {value});
  }
}

void CheckNames(const Context& context) {
  for (const msi::TableRow& row : context.package.Rows(kTable)) {
    const std::wstring name = row.Get(L"Property");
    const Place place = {kTable, name, {}};
    if (name == contract::kFilesProperty || name == contract::kFoldersProperty) {
      context.report->Add(kOwnList, place);
    }
    if (name == contract::kResumeProperty) context.report->Add(kAlwaysResumed, place);
    for (const wchar_t* known : kNames) {
      if (name != known && Folded(name) == Folded(known)) {
        context.report->Add(kWrongCapitals, place, {known});
      }
    }
  }
}

}  // namespace

void CheckProperties(const Context& context) {
  CheckSecure(context);
  CheckPacked(context);
  CheckFolder(context, contract::kDownloadFolderProperty);
  CheckFolder(context, contract::kExtractFolderProperty);
  CheckWhoCanWrite(context);
  CheckNames(context);
}

}  // namespace check
