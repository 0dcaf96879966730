#include <algorithm>
#include <iterator>

#include "checks.h"
#include "conditions.h"
#include "prereq/carried_properties.h"
#include "prereq/rows.h"
#include "prereq/work_folders.h"
#include "util/text.h"

namespace check {
namespace {

constexpr Kind kResumeNotSecure{L"PRE701", Severity::kWarning};
constexpr Kind kSecureNeverMatches{L"PRE702", Severity::kWarning};
constexpr Kind kNotPassedOn{L"PRE703", Severity::kWarning};
constexpr Kind kNoFullPath{L"PRE704", Severity::kError};
constexpr Kind kUnknownReference{L"PRE705", Severity::kWarning};
constexpr Kind kWrongCapitals{L"PRE706", Severity::kError};
constexpr Kind kLibrarysOwn{L"PRE707", Severity::kError};

constexpr wchar_t kTable[] = L"Property";
constexpr wchar_t kSecure[] = L"SecureCustomProperties";
constexpr wchar_t kExtractFolder[] = L"QX_EXTRACT_DIR";

// What the library reads, in the way it reads them.
constexpr const wchar_t* kNames[] = {
    L"QX_DOWNLOAD_DIR", kExtractFolder, L"QX_FilesInsideExe", L"QX_SETUPEXEPATH", L"QXEXTERNALUI",
    L"QX_RESUME",       kSecure};

std::wstring Folded(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(), &util::FoldAscii);
  return text;
}

void CheckSecure(const Context& context) {
  const bool installs =
      context.schedule.Runs(Phase::kInstall) || context.schedule.Runs(Phase::kInstallPost);
  if (installs && !context.properties.IsSecure(L"QX_RESUME")) {
    context.report->Add(kResumeNotSecure, Row(kTable, kSecure),
                        L"QX_RESUME is not in the list: after a restart in the middle, the "
                        L"elevated part of the installation does not learn that it goes on");
  }
  for (const std::wstring& name : util::Split(context.package.DefaultOf(kSecure), L';')) {
    if (name.empty()) continue;
    const bool has_blank = name.front() == L' ' || name.back() == L' ';
    if (!has_blank && prereq::IsPublicPropertyName(name)) continue;
    context.report->Add(kSecureNeverMatches, Row(kTable, kSecure),
                        Quoted(name) + (has_blank ? L" has a blank beside it, which counts as part "
                                                    L"of the name: the property is not passed on"
                                                  : L" has small letters: the installer passes on "
                                                    L"names in capitals only"));
  }
}

// Prerequisites inside the setup executable.
void CheckPacked(const Context& context) {
  if (!context.properties.IsSet(L"QX_FilesInsideExe")) return;
  const std::vector<msi::TableRow> rows =
      context.package.Rows(prereq::kPrerequisiteTable, {L"Location"});
  if (std::none_of(rows.begin(), rows.end(), [](const msi::TableRow& row) {
        return prereq::ReadPrerequisite(row).location == prereq::Location::kCarried;
      })) {
    return;
  }
  const bool has_folder = !context.package.DefaultOf(kExtractFolder).empty();
  const auto& custom = context.schedule.custom_actions;
  const bool is_set_by_action =
      std::any_of(custom.begin(), custom.end(), [](const CustomAction& action) {
        return action.SetsProperty() && action.source == kExtractFolder;
      });
  if (context.schedule.execute.First(Phase::kExtract) == nullptr) return;
  for (const wchar_t* name : {kExtractFolder, L"QX_SETUPEXEPATH"}) {
    if (context.properties.IsSecure(name) ||
        (name == kExtractFolder && (has_folder || is_set_by_action))) {
      continue;
    }
    context.report->Add(kNotPassedOn, Row(kTable, kSecure),
                        std::wstring(name) +
                            L" is not in the list, so what the setup executable says does not "
                            L"reach InstallExecuteSequence, and nothing is unpacked there");
  }
}

void CheckFolder(const Context& context, const wchar_t* name) {
  const std::wstring value = context.package.DefaultOf(name);
  if (value.empty() || context.package.session() == nullptr) return;
  bool is_known = true;
  for (const std::wstring& reference : PropertiesInText(value)) {
    if (context.properties.IsSet(reference)) continue;
    is_known = false;
    context.report->Add(kUnknownReference, Row(kTable, name),
                        L"no table of this package sets the property [" + reference +
                            L"], so nothing is put in its place. Is it written correctly, capitals "
                            L"included?");
  }
  // Folders of the package are known only later.
  const std::vector<msi::TableRow> folders = context.package.Rows(L"Directory", {L"Directory"});
  const bool names_folder =
      std::any_of(folders.begin(), folders.end(), [&](const msi::TableRow& row) {
        return value.find(L"[" + row.Get(L"Directory") + L"]") != value.npos;
      });
  const std::wstring folder = msi::FormatText(*context.package.session(), value);
  if (!is_known || names_folder || folder.starts_with(L'\\') || folder.find(L':') != folder.npos) {
    return;
  }
  context.report->Add(kNoFullPath, Row(kTable, name),
                      Quoted(value) +
                          L" is no full path: no setup file in it is ever found. Begin "
                          L"with a folder such as [TempFolder]");
}

void CheckNames(const Context& context) {
  for (const msi::TableRow& row : context.package.Rows(kTable, {L"Property"})) {
    const std::wstring name = row.Get(L"Property");
    if (name == prereq::kFilesProperty || name == prereq::kFoldersProperty) {
      context.report->Add(kLibrarysOwn, Row(kTable, name),
                          L"the library keeps its own list in this property. With a value of the "
                          L"package's in it, the wrong files are cleaned up or none; leave it out");
    }
    if (name == L"QX_RESUME") {
      context.report->Add(kLibrarysOwn, Row(kTable, name),
                          L"the property says that the installation goes on after a restart; set "
                          L"in the package, it always says so. Leave it out");
    }
    for (const wchar_t* known : kNames) {
      if (name == known || Folded(name) != Folded(known)) continue;
      context.report->Add(kWrongCapitals, Row(kTable, name),
                          std::wstring(L"nobody reads this property; the name is ") + known +
                              L", capitals as written");
    }
  }
}

}  // namespace

void CheckProperties(const Context& context) {
  CheckSecure(context);
  CheckPacked(context);
  CheckFolder(context, L"QX_DOWNLOAD_DIR");
  CheckFolder(context, kExtractFolder);
  CheckNames(context);
}

}  // namespace check
