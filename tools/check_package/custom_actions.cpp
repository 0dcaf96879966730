#include "custom_actions.h"

#include <algorithm>
#include <iterator>

#include "util/text.h"

namespace check {
namespace {

constexpr wchar_t kTable[] = L"CustomAction";
constexpr wchar_t kKitName[] = L"Prereq.dll";
constexpr wchar_t kFinishName[] = L"PrereqFinish.dll";  // The kit's own, for the ends.

constexpr int kLibraryInBinary = 1;
constexpr int kFormattedDirectory = 35;
constexpr int kFormattedProperty = 51;
constexpr int kSortOfCode = 0x07;  // 1: a library, 5 and 6: a script.
constexpr int kContinue = 0x40;
constexpr int kAsync = 0x80;
constexpr int kFirstSequence = 0x100;
constexpr int kOncePerProcess = 0x200;
constexpr int kInScript = 0x400;

constexpr struct {
  const wchar_t* name;
  Phase phase;
} kExports[] = {
    {L"DoAppSearchEx", Phase::kSearch},  {L"DownloadPrereq", Phase::kDownload},
    {L"ExtractPrereq", Phase::kExtract}, {L"InstallPrereq", Phase::kInstall},
    {L"VerifyPrereq", Phase::kVerify},   {L"InstallPostPrereq", Phase::kInstallPost},
    {L"CleanPrereq", Phase::kClean},
};

// Of the kit's library for the ends of an installation; one cleans up and takes the value back.
constexpr wchar_t kCleanUp[] = L"CleanUp";
constexpr wchar_t kTakeBack[] = L"TakeRunValueBack";

std::optional<Phase> FindExport(const std::wstring& name) {
  for (const auto& [one, phase] : kExports) {
    if (name == one) return phase;
  }
  return std::nullopt;
}

bool IsCallOfFinish(const CustomAction& action) {
  return action.BaseType() == kLibraryInBinary && action.source == kFinishName;
}

std::wstring ListExports() {
  std::vector<std::wstring> names;
  for (const auto& one : kExports) names.emplace_back(one.name);
  return Listed(names);
}

bool AsksTheUser(Phase phase) { return phase != Phase::kSearch && phase != Phase::kClean; }

void CheckFlags(const CustomAction& action, Report* report) {
  const Place place = {kTable, action.name, L"Type"};
  const std::wstring number = util::ToSignedDecimal(action.type);
  if (action.type & kInScript) {
    report->Add(kDeferred, place, {number});
  } else if (action.type & kAsync) {
    report->Add(kAsynchronous, place, {number});
  } else if ((action.type & kContinue) && action.phase && AsksTheUser(*action.phase)) {
    report->Add(kResultIgnored, place, {number});
  }
}

// `image` is the library that the action calls; null when it could not be read.
void CheckCall(const CustomAction& action, const LibraryImage* image, Report* report) {
  if (action.BaseType() != kLibraryInBinary) {
    report->Add(kWrongSort, {kTable, action.name, L"Type"},
                {util::ToSignedDecimal(action.type), action.target});
    return;
  }
  const Place place = {kTable, action.name, L"Target"};
  const bool is_known = IsCallOfFinish(action)
                            ? action.target == kCleanUp || action.target == kTakeBack
                            : FindExport(action.target).has_value();
  if (!is_known) {
    report->Add(kNoSuchExport, place, {action.target, ListExports()});
  } else if (image != nullptr && !image->exports.contains(action.target)) {
    report->Add(kOldCopy, place, {action.target});
  } else {
    CheckFlags(action, report);
  }
}

// An author's own library has no two functions of these names.
bool HasExports(const LibraryImage& image) {
  return std::count_if(std::begin(kExports), std::end(kExports),
                       [&](const auto& one) { return image.exports.contains(one.name); }) >= 2;
}

}  // namespace

const wchar_t* ExportOf(Phase phase) {
  const auto* const found = std::find_if(std::begin(kExports), std::end(kExports),
                                         [&](const auto& one) { return one.phase == phase; });
  return found->name;
}

bool CustomAction::SetsProperty() const {
  return BaseType() == kFormattedProperty || BaseType() == kFormattedDirectory;
}

bool CustomAction::IsOwnCode() const {
  const int sort = type & kSortOfCode;
  return !phase && !TakesRunValueBack() && !SetsProperty() && (sort == 1 || sort == 5 || sort == 6);
}

bool CustomAction::TakesRunValueBack() const { return IsCallOfFinish(*this); }

bool CustomAction::RunsOnce() const {
  return (type & kInScript) == 0 && (type & (kFirstSequence | kOncePerProcess)) != 0;
}

CustomActions::CustomActions(const Package& package) {
  for (const msi::TableRow& row : package.Rows(kTable)) {
    actions_.push_back({row.Get(L"Action"), util::ParseDecimal<int32_t>(row.Get(L"Type")),
                        row.Get(L"Source"), row.Get(L"Target"), std::nullopt});
  }
  FindLibraries(package);
  for (CustomAction& action : actions_) {
    if (IsCallOfFinish(action)) {
      if (action.target == kCleanUp) action.phase = Phase::kClean;
    } else if (action.BaseType() == kLibraryInBinary && IsLibrary(action.source)) {
      action.phase = FindExport(action.target);
    }
  }
}

void CustomActions::FindLibraries(const Package& package) {
  for (const CustomAction& action : actions_) {
    const bool is_kits = action.source == kKitName || action.source == kFinishName;
    const bool is_call = action.BaseType() == kLibraryInBinary;
    if (IsLibrary(action.source) || (!is_kits && !(is_call && FindExport(action.target)))) continue;
    std::optional<LibraryImage> image;
    const bool is_there = package.BinaryNames().contains(action.source);
    if (is_there) image = ReadLibraryImage(package.BinaryData(action.source));
    // What is not there, or is no library, fails whoever wrote it.
    if (is_kits ? is_call : !image || (image->is_32_bit && HasExports(*image))) {
      libraries_.emplace(action.source, std::move(image));
    }
  }
}

const CustomAction* CustomActions::Find(const std::wstring& name) const {
  const auto found = std::find_if(actions_.begin(), actions_.end(),
                                  [&](const CustomAction& one) { return one.name == name; });
  return found == actions_.end() ? nullptr : &*found;
}

std::vector<std::wstring> CustomActions::CallersOf(const std::wstring& library) const {
  std::vector<std::wstring> names;
  for (const CustomAction& action : actions_) {
    if (action.BaseType() == kLibraryInBinary && action.source == library) {
      names.push_back(action.name);
    }
  }
  return names;
}

void CustomActions::Check(const Package& package, Report* report) const {
  for (const auto& [name, image] : libraries_) {
    const Place place = {L"Binary", name, {}};
    if (!package.BinaryNames().contains(name)) {
      report->Add(kNoBinary, place, {Listed(CallersOf(name))});
    } else if (!image || !image->is_32_bit) {
      report->Add(image ? kOtherLibrary : kNoLibrary, place);
    }
    const LibraryImage* const callable = image && image->is_32_bit ? &*image : nullptr;
    for (const CustomAction& action : actions_) {
      if (action.source == name) CheckCall(action, callable, report);
    }
  }
}

}  // namespace check
