#include <algorithm>
#include <map>

#include "appsearch/app_search_runner.h"
#include "checks.h"
#include "conditions.h"
#include "prereq/carried_properties.h"
#include "prereq/rows.h"
#include "util/text.h"

namespace check {
namespace {

constexpr uint32_t kFirstLanguageOfCountry = 0x400;
constexpr uint32_t kLastLanguage = 0xFFFF;

// The library compares with the decimal number of the system's language, which is always one of a
// country.
bool CanMatch(const std::wstring& piece) {
  const auto language = util::ParseDecimal<uint32_t>(piece);
  return language >= kFirstLanguageOfCountry && language <= kLastLanguage &&
         util::ToDecimal(language) == piece;
}

void CheckLanguages(const PrerequisiteRow& row, Report* report) {
  const std::vector<std::wstring> pieces = util::Split(row.Get(L"Languages"), L';');
  if (pieces.empty()) return;
  if (std::none_of(pieces.begin(), pieces.end(), &CanMatch)) {
    report->Add(kNoLanguageMatches, row.At(L"Languages"), {row.Get(L"Languages")});
    return;
  }
  for (const std::wstring& piece : pieces) {
    if (piece.empty() || CanMatch(piece)) continue;
    report->Add(kLanguageNeverMatches, row.At(L"Languages"), {piece});
  }
}

void CheckOptions(const PrerequisiteRow& row, Report* report) {
  constexpr wchar_t kKnown[] = {
      prereq::kMandatoryOption, prereq::kPostInstallOption, L' ', L',', L';', 0};
  const std::wstring options = row.Get(L"Options");
  const size_t unknown = options.find_first_not_of(kKnown);
  if (unknown == options.npos) return;
  report->Add(kUnknownOption, row.At(L"Options"), {options.substr(unknown, 1)});
}

void CheckFeature(const Context& context, const Values& levels, const PrerequisiteRow& row) {
  const std::wstring feature = row.Get(L"Feature_");
  const auto found = levels.find(feature);
  const Place place = row.At(L"Feature_");
  if (found == levels.end()) {
    context.report->Add(feature.empty() ? kNoFeature : kUnknownFeature, place, {feature});
  } else if (found->second == L"0" && context.package.Rows(L"Condition").empty()) {
    context.report->Add(kDisabledFeature, place, {feature});
  }
}

// Conditions that name nothing but what is set when a search finds something.
bool DependsOnFindings(const Context& context, const ConditionText& text) {
  return !text.properties.empty() && !text.names_others &&
         std::all_of(text.properties.begin(), text.properties.end(), [&](const std::wstring& name) {
           return context.properties.IsFoundBySearch(name);
         });
}

void CheckConstant(const std::wstring& condition, std::optional<MSICONDITION> state,
                   const Place& place, Report* report) {
  if (state == MSICONDITION_FALSE) {
    report->Add(kNeverMissing, place, {condition});
  } else if (state) {
    report->Add(kAlwaysMissing, place, {condition});
  }
}

void CheckCondition(const Context& context, const PrerequisiteRow& row) {
  const std::wstring condition = row.Get(L"MissingCondition");
  const Place place = row.At(L"MissingCondition");
  Report* const report = context.report;
  if (condition.empty()) {
    report->Add(kNoCondition, place);
    return;
  }
  const std::optional<MSICONDITION> state = context.package.Evaluate(condition);
  if (state == MSICONDITION_ERROR) {
    report->Add(kBadMissingCondition, place, {condition});
    return;
  }
  const ConditionText text(condition);
  if (text.IsConstant()) {
    CheckConstant(condition, state, place, report);
    return;
  }
  for (const std::wstring& name : text.properties) {
    if (context.properties.IsSetByAbsence(name) && !row.read.is_after_product) {
      report->Add(kStaysMissing, place, {name});
    }
  }
  CheckConditionNames(context, kConditionOnUnset, place, condition);
  for (const auto& [name, sign, literal] : text.comparisons) {
    const bool is_equality = sign == L"=" || sign == L"<>";
    // A default of 1 tells what is not found from what is.
    if (is_equality && literal == L"1" && context.properties.HoldsVersions(name) &&
        context.package.DefaultOf(name) != L"1") {
      report->Add(kNeverOne, place, {name});
    }
  }
  CheckVersionsAsText(context, place, condition);
  if (state == MSICONDITION_FALSE && DependsOnFindings(context, text)) {
    report->Add(kPresentWhenNotFound, place, {condition});
  }
}

void CheckCommandLine(const Context& context, const PrerequisiteRow& row) {
  if (context.package.session() == nullptr) return;
  for (const std::wstring& name : PropertiesInText(row.Get(L"ComLine"))) {
    // Users can give a public one on the installer's command line.
    if (prereq::IsPublicPropertyName(name) || context.properties.IsSet(name)) continue;
    context.report->Add(kCommandOnUnset, row.At(L"ComLine"), {name});
  }
}

bool IsDottedNumber(const std::wstring& text) {
  return text.find_first_not_of(L"0123456789.") == text.npos && text.find(L'.') != text.npos &&
         text.find_first_of(L"0123456789") == 0;
}

}  // namespace

void CheckConditionNames(const Context& context, const FindingText& text, const Place& place,
                         const std::wstring& condition) {
  for (const std::wstring& name : ConditionText(condition).properties) {
    const std::wstring why = context.properties.WhyNeverSet(name);
    if (!why.empty()) context.report->Add(text, place, {why});
  }
}

void CheckVersionsAsText(const Context& context, const Place& place,
                         const std::wstring& condition) {
  for (const auto& [name, sign, literal] : ConditionText(condition).comparisons) {
    const bool is_order = sign == L"<" || sign == L">" || sign == L"<=" || sign == L">=";
    if (is_order && context.properties.IsSearched(name) &&
        (IsDottedNumber(literal) || context.properties.HoldsVersions(name))) {
      context.report->Add(kVersionAsText, place, {name, literal});
    }
  }
}

void CheckPrerequisites(const Context& context) {
  Values levels;
  for (const msi::TableRow& row : context.package.Rows(L"Feature")) {
    levels[row.Get(L"Feature")] = row.Get(L"Level");
  }
  for (const PrerequisiteRow& row : context.prerequisites) {
    if (row.Get(L"DisplayName").empty()) {
      context.report->Add(kNoDisplayName, row.At(L"DisplayName"));
    }
    CheckSetupFile(context, row);
    CheckOptions(row, context.report);
    CheckLanguages(row, context.report);
    CheckFeature(context, levels, row);
    CheckCondition(context, row);
    CheckCommandLine(context, row);
  }
  CheckPairs(context);
}

}  // namespace check
