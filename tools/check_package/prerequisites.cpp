#include <algorithm>
#include <map>
#include <set>

#include "checks.h"
#include "conditions.h"
#include "prereq/carried_properties.h"
#include "prereq/rows.h"
#include "util/text.h"

namespace check {
namespace {

constexpr Kind kNoDisplayName{L"PRE201", Severity::kWarning};
constexpr Kind kSameDisplayName{L"PRE202", Severity::kWarning};
constexpr Kind kSameSequence{L"PRE203", Severity::kWarning};
constexpr Kind kUnknownOption{L"PRE204", Severity::kWarning};
constexpr Kind kNoLanguageMatches{L"PRE205", Severity::kError};
constexpr Kind kLanguageNeverMatches{L"PRE206", Severity::kWarning};
constexpr Kind kUnknownFeature{L"PRE207", Severity::kError};
constexpr Kind kDisabledFeature{L"PRE208", Severity::kWarning};
constexpr Kind kNoCondition{L"PRE209", Severity::kWarning};
constexpr Kind kBadCondition{L"PRE210", Severity::kError};
constexpr Kind kNeverMissing{L"PRE211", Severity::kError};
constexpr Kind kAlwaysMissing{L"PRE212", Severity::kWarning};
constexpr Kind kNobodySets{L"PRE213", Severity::kWarning};
constexpr Kind kPresentWhenNotFound{L"PRE214", Severity::kWarning};
constexpr Kind kUnknownReference{L"PRE215", Severity::kWarning};
constexpr Kind kSameNameOnDisk{L"PRE216", Severity::kError};
constexpr Kind kStaysMissing{L"PRE217", Severity::kWarning};
constexpr Kind kNeverOne{L"PRE218", Severity::kWarning};

constexpr uint32_t kFirstLanguageOfCountry = 0x400;
constexpr uint32_t kLastLanguage = 0xFFFF;

std::wstring At(const msi::TableRow& row, std::wstring_view column) {
  return Cell(prereq::kPrerequisiteTable, row.Get(L"Prereq"), column);
}

// The library compares with the decimal number of the system's language, which is always one of a
// country.
bool CanMatch(const std::wstring& piece) {
  const auto language = util::ParseDecimal<uint32_t>(piece);
  return language >= kFirstLanguageOfCountry && language <= kLastLanguage &&
         util::ToDecimal(language) == piece;
}

void CheckLanguages(const msi::TableRow& row, Report* report) {
  const std::vector<std::wstring> pieces = util::Split(row.Get(L"Languages"), L';');
  if (pieces.empty()) return;
  if (std::none_of(pieces.begin(), pieces.end(), &CanMatch)) {
    report->Add(kNoLanguageMatches, At(row, L"Languages"),
                Quoted(row.Get(L"Languages")) +
                    L" is the default language of no system, so the row is never handled. Write "
                    L"decimal language numbers between semicolons, without blanks: 1033;1031");
    return;
  }
  for (const std::wstring& piece : pieces) {
    if (piece.empty() || CanMatch(piece)) continue;
    report->Add(kLanguageNeverMatches, At(row, L"Languages"),
                Quoted(piece) +
                    L" matches no system. Write decimal language numbers of a country between "
                    L"semicolons, without blanks: 1033;1031");
  }
}

void CheckOptions(const msi::TableRow& row, Report* report) {
  constexpr wchar_t kKnown[] = {
      prereq::kMandatoryOption, prereq::kPostInstallOption, L' ', L',', L';', 0};
  const std::wstring options = row.Get(L"Options");
  const size_t unknown = options.find_first_not_of(kKnown);
  if (unknown == options.npos) return;
  report->Add(kUnknownOption, At(row, L"Options"),
              Quoted(options.substr(unknown, 1)) +
                  L" says nothing to the library. The letters are p (after the product) and m "
                  L"(mandatory), as small letters");
}

void CheckFeature(const Context& context, const std::map<std::wstring, std::wstring>& levels,
                  const msi::TableRow& row) {
  const std::wstring feature = row.Get(L"Feature_");
  const auto found = levels.find(feature);
  if (found == levels.end()) {
    context.report->Add(kUnknownFeature, At(row, L"Feature_"),
                        (feature.empty() ? std::wstring(L"no feature is named")
                                         : Quoted(feature) + L" is not in the table Feature") +
                            L", so the row is never handled: it counts only while its feature is "
                            L"going to be installed");
  } else if (found->second == L"0" && context.package.Rows(L"Condition").empty()) {
    context.report->Add(
        kDisabledFeature, At(row, L"Feature_"),
        Quoted(feature) + L" has the level 0: it is never installed, and the row never handled");
  }
}

// Conditions that name nothing but what is set when a search finds something.
bool DependsOnFindings(const Context& context, const std::wstring& condition) {
  const std::vector<std::wstring> names = PropertiesInCondition(condition);
  return !names.empty() && !NamesMoreThanProperties(condition) &&
         std::all_of(names.begin(), names.end(), [&](const std::wstring& name) {
           return context.properties.IsFoundBySearch(name);
         });
}

void CheckCondition(const Context& context, const msi::TableRow& row) {
  const std::wstring condition = row.Get(L"MissingCondition");
  const std::wstring place = At(row, L"MissingCondition");
  Report* const report = context.report;
  if (condition.empty()) {
    report->Add(kNoCondition, place,
                L"the condition is empty: the prerequisite counts as missing for ever, is set up "
                L"at every installation and asked about at every verification. Write a condition "
                L"that is true while it is missing, such as NOT RUNTIME_FOUND");
    return;
  }
  const std::optional<MSICONDITION> state = context.package.Evaluate(condition);
  if (state == MSICONDITION_ERROR) {
    report->Add(kBadCondition, place,
                Quoted(condition) +
                    L" is no condition that the installer understands: the prerequisite counts as "
                    L"missing for ever");
    return;
  }
  if (IsConstant(condition)) {
    if (state == MSICONDITION_FALSE) {
      report->Add(kNeverMissing, place,
                  Quoted(condition) + L" is always false: the row is never handled");
    } else if (state) {
      report->Add(kAlwaysMissing, place,
                  Quoted(condition) +
                      L" is always true: the prerequisite is set up at every installation and "
                      L"asked about at every verification");
    }
    return;
  }
  for (const std::wstring& name : PropertiesInCondition(condition)) {
    if (context.properties.IsSetByAbsence(name) &&
        !prereq::ReadPrerequisite(row).is_after_product) {
      report->Add(kStaysMissing, place,
                  Quoted(name) +
                      L" is set by a search for what is missing (kind 6 or 8). No later search "
                      L"takes it back, so the prerequisite counts as missing even when it has been "
                      L"installed. Search for what is there (kind 5 or 7) and write NOT");
    }
    const std::wstring why = context.properties.WhyNeverSet(name);
    if (!why.empty()) report->Add(kNobodySets, place, why);
  }
  for (const std::wstring& name : PropertiesComparedWithOne(condition)) {
    // A default of 1 tells what is not found from what is.
    if (!context.properties.HoldsVersions(name) || context.package.DefaultOf(name) == L"1")
      continue;
    report->Add(kNeverOne, place,
                Quoted(name) +
                    L" is compared with 1, but its search has VerMin or VerMax: what is found sets "
                    L"it to the versions that were looked at, so the comparison comes out the same "
                    L"whatever is there. Write NOT " +
                    name);
  }
  if (state == MSICONDITION_FALSE && DependsOnFindings(context, condition)) {
    report->Add(kPresentWhenNotFound, place,
                Quoted(condition) +
                    L" is false when the searches find nothing: the prerequisite counts as present "
                    L"where it is not. The condition says when it is missing; is a NOT missing?");
  }
}

void CheckCommandLine(const Context& context, const msi::TableRow& row) {
  if (context.package.session() == nullptr) return;
  for (const std::wstring& name : PropertiesInText(row.Get(L"ComLine"))) {
    // Users can give a public one on the installer's command line.
    if (prereq::IsPublicPropertyName(name) || context.properties.IsSet(name)) continue;
    context.report->Add(kUnknownReference, At(row, L"ComLine"),
                        L"no table of this package sets the property [" + name +
                            L"], so the setup gets nothing in its place. Is it written correctly, "
                            L"capitals included?");
  }
}

// True when the two can have one file: the same address or, beside the package, the same checks.
bool IsSameFile(const msi::TableRow& a, const msi::TableRow& b) {
  if (prereq::ReadPrerequisite(a).location != prereq::ReadPrerequisite(b).location) return false;
  return (prereq::ReadPrerequisite(a).location == prereq::Location::kCarried ||
          a.Get(L"SetupFileUrl") == b.Get(L"SetupFileUrl")) &&
         a.Get(L"ExactSize") == b.Get(L"ExactSize") && a.Get(L"MD5") == b.Get(L"MD5");
}

// Adds what two rows share that they must not share.
void CheckPairs(const Context& context, const std::vector<msi::TableRow>& rows) {
  std::map<std::wstring, const msi::TableRow*> names;
  std::map<std::wstring, const msi::TableRow*> sequences;
  std::map<std::wstring, const msi::TableRow*> files;
  for (const msi::TableRow& row : rows) {
    const std::wstring name = row.Get(L"DisplayName");
    if (const auto [other, is_new] = names.try_emplace(name, &row); !is_new && !name.empty()) {
      context.report->Add(kSameDisplayName, At(row, L"DisplayName"),
                          Quoted(name) + L" is the name of " +
                              Quoted(other->second->Get(L"Prereq")) +
                              L" too: users cannot tell the two prompts apart");
    }
    if (const auto [other, is_new] = sequences.try_emplace(row.Get(L"Sequence"), &row); !is_new) {
      context.report->Add(kSameSequence, At(row, L"Sequence"),
                          row.Get(L"Sequence") + L" is the number of " +
                              Quoted(other->second->Get(L"Prereq")) +
                              L" too: which of the two comes first is not defined, and inside a "
                              L"setup executable they are one group");
    }
    const std::wstring file = NameOnDisk(context, row);
    if (file.empty()) continue;
    const auto [other, is_new] = files.try_emplace(file, &row);
    if (!is_new && !IsSameFile(*other->second, row)) {
      context.report->Add(
          kSameNameOnDisk, Row(prereq::kPrerequisiteTable, row.Get(L"Prereq")),
          L"its setup file is called " + Quoted(prereq::ReadPrerequisite(row).file_name) +
              L" on disk, and so is that of " + Quoted(other->second->Get(L"Prereq")) +
              L": the file that is there first would be run for both. Names are "
              L"compared without regard to capitals; those from addresses have at "
              L"most their last 30 characters");
    }
  }
}

}  // namespace

void CheckPrerequisites(const Context& context) {
  const std::vector<msi::TableRow> rows = context.package.Rows(prereq::kPrerequisiteTable);
  std::map<std::wstring, std::wstring> levels;
  for (const msi::TableRow& row : context.package.Rows(L"Feature", {L"Feature", L"Level"})) {
    levels[row.Get(L"Feature")] = row.Get(L"Level");
  }
  for (const msi::TableRow& row : rows) {
    if (row.Get(L"DisplayName").empty()) {
      context.report->Add(kNoDisplayName, At(row, L"DisplayName"),
                          L"the name is empty: prompts and progress would not say what is meant");
    }
    CheckSetupFile(context, row);
    CheckOptions(row, context.report);
    CheckLanguages(row, context.report);
    CheckFeature(context, levels, row);
    CheckCondition(context, row);
    CheckCommandLine(context, row);
  }
  CheckPairs(context, rows);
}

}  // namespace check
