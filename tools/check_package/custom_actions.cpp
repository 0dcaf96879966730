#include "custom_actions.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "library_image.h"
#include "util/text.h"

namespace check {
namespace {

constexpr Kind kNoBinary{L"PRE401", Severity::kError};
constexpr Kind kNotTheLibrary{L"PRE402", Severity::kError};
constexpr Kind kNoSuchExport{L"PRE403", Severity::kError};
constexpr Kind kWrongSort{L"PRE404", Severity::kError};
constexpr Kind kDeferred{L"PRE405", Severity::kError};
constexpr Kind kAsynchronous{L"PRE406", Severity::kError};
constexpr Kind kResultIgnored{L"PRE407", Severity::kWarning};

constexpr wchar_t kTable[] = L"CustomAction";
constexpr wchar_t kKitName[] = L"Prereq.dll";

constexpr int kLibraryInBinary = 1;
constexpr int kFormattedDirectory = 35;
constexpr int kFormattedProperty = 51;
constexpr int kContinue = 0x40;
constexpr int kAsync = 0x80;
constexpr int kFirstSequence = 0x100;
constexpr int kOncePerProcess = 0x200;
constexpr int kInScript = 0x400;

struct Export {
  const wchar_t* name;
  Phase phase;
};
constexpr Export kExports[] = {
    {L"DoAppSearchEx", Phase::kSearch},  {L"DownloadPrereq", Phase::kDownload},
    {L"ExtractPrereq", Phase::kExtract}, {L"InstallPrereq", Phase::kInstall},
    {L"VerifyPrereq", Phase::kVerify},   {L"InstallPostPrereq", Phase::kInstallPost},
    {L"CleanPrereq", Phase::kClean},
};

const Export* FindExport(const std::wstring& name) {
  const auto* const found = std::find_if(std::begin(kExports), std::end(kExports),
                                         [&](const Export& one) { return name == one.name; });
  return found == std::end(kExports) ? nullptr : found;
}

std::wstring ListExports() {
  std::vector<std::wstring> names;
  for (const Export& one : kExports) names.emplace_back(one.name);
  return Listed(names);
}

bool AsksTheUser(Phase phase) { return phase != Phase::kSearch && phase != Phase::kClean; }

void CheckFlags(const CustomAction& action, Report* report) {
  const std::wstring place = Cell(kTable, action.name, L"Type");
  const std::wstring number = util::ToSignedDecimal(action.type);
  if (action.type & kInScript) {
    report->Add(kDeferred, place,
                number +
                    L" is a deferred, rollback or commit action, which can read neither the "
                    L"package's tables nor its properties: it would do nothing. Use type 1");
  } else if (action.type & kAsync) {
    report->Add(kAsynchronous, place,
                number +
                    L" is not waited for: the installation would go on while the action still "
                    L"works. Use type 1");
  } else if ((action.type & kContinue) && action.phase && AsksTheUser(*action.phase)) {
    report->Add(kResultIgnored, place,
                number +
                    L" ignores how the action ends: the installation goes on even when the "
                    L"user answers No at a prompt. Use type 1");
  }
}

// `image` is the library that the action calls; null when it could not be read.
void CheckCall(const CustomAction& action, const LibraryImage* image, Report* report) {
  if (action.BaseType() != kLibraryInBinary) {
    report->Add(kWrongSort, Cell(kTable, action.name, L"Type"),
                util::ToSignedDecimal(action.type) +
                    L" does not call a library of the table Binary, so " + Quoted(action.target) +
                    L" does not run before the product is installed, if at all. Use type 1");
    return;
  }
  const bool is_known = FindExport(action.target) != nullptr;
  if (!is_known || (image != nullptr && !image->exports.contains(action.target))) {
    report->Add(kNoSuchExport, Cell(kTable, action.name, L"Target"),
                Quoted(action.target) +
                    (is_known ? L" is not in this copy of the library; put a newer one into Binary"
                              : L" is no action of the library, and the installation would fail "
                                L"when it is called. There are, capitals as written: " +
                                    ListExports()));
    return;
  }
  CheckFlags(action, report);
}

// The rows of `Binary` that are the library: those that an action calls one of its exports in, and
// the one of the kit's name.
std::set<std::wstring> LibraryNames(const std::vector<CustomAction>& actions) {
  std::set<std::wstring> names;
  for (const CustomAction& action : actions) {
    if (action.phase || (action.BaseType() == kLibraryInBinary && action.source == kKitName)) {
      names.insert(action.source);
    }
  }
  return names;
}

std::vector<std::wstring> NamesOfCallers(const std::vector<CustomAction>& actions,
                                         const std::wstring& library) {
  std::vector<std::wstring> names;
  for (const CustomAction& action : actions) {
    if (action.BaseType() == kLibraryInBinary && action.source == library) {
      names.push_back(action.name);
    }
  }
  return names;
}

}  // namespace

bool CustomAction::SetsProperty() const {
  return BaseType() == kFormattedProperty || BaseType() == kFormattedDirectory;
}

bool CustomAction::RunsOnce() const {
  return (type & kInScript) == 0 && (type & (kFirstSequence | kOncePerProcess)) != 0;
}

std::vector<CustomAction> LoadCustomActions(const Package& package) {
  std::vector<CustomAction> actions;
  for (const msi::TableRow& row :
       package.Rows(kTable, {L"Action", L"Type", L"Source", L"Target"})) {
    CustomAction action = {row.Get(L"Action"), util::ParseDecimal<int32_t>(row.Get(L"Type")),
                           row.Get(L"Source"), row.Get(L"Target"), std::nullopt};
    const Export* const found = FindExport(action.target);
    if (action.BaseType() == kLibraryInBinary && found != nullptr) action.phase = found->phase;
    actions.push_back(std::move(action));
  }
  return actions;
}

void CheckCustomActions(const Package& package, Report* report) {
  const std::vector<CustomAction> actions = LoadCustomActions(package);
  const std::set<std::wstring> libraries = LibraryNames(actions);
  std::set<std::wstring> streams;
  for (const msi::TableRow& row : package.Rows(L"Binary", {L"Name"})) {
    streams.insert(row.Get(L"Name"));
  }
  for (const std::wstring& name : libraries) {
    std::optional<LibraryImage> image;
    if (!streams.contains(name)) {
      report->Add(kNoBinary, Row(L"Binary", name),
                  L"the row is missing, and the installation would fail at each custom action "
                  L"that calls a library of that name: " +
                      Listed(NamesOfCallers(actions, name)));
    } else if (image = ReadLibraryImage(package.BinaryData(name)); !image || !image->is_32_bit) {
      report->Add(kNotTheLibrary, Row(L"Binary", name),
                  image ? L"this is not the 32-bit library: the installer cannot call it"
                        : L"this is no library at all: the installer cannot call it");
      image.reset();
    }
    for (const CustomAction& action : actions) {
      if (action.source == name) CheckCall(action, image ? &*image : nullptr, report);
    }
  }
  for (const CustomAction& action : actions) {
    const bool is_checked = libraries.contains(action.source);
    if (!is_checked && !action.SetsProperty() && FindExport(action.target) != nullptr) {
      CheckCall(action, nullptr, report);
    }
  }
}

}  // namespace check
