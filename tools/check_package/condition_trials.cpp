#include "condition_trials.h"

#include <algorithm>
#include <set>

#include "conditions.h"
#include "util/text.h"

namespace check {
namespace {

constexpr size_t kMostTrials = 256;

// The values of a property that can change what the condition comes to.
std::vector<std::wstring> CandidatesOf(const ConditionText& text) {
  std::set<std::wstring> values = {L"", L"1"};
  for (const std::wstring& literal : text.literals) {
    values.insert(literal);
    const auto number = util::ParseDecimal<int32_t>(literal);
    if (literal.empty() || util::ToSignedDecimal(number) != literal) continue;
    values.insert(util::ToSignedDecimal(number - 1));
    values.insert(util::ToSignedDecimal(number + 1));
  }
  return {values.begin(), values.end()};
}

}  // namespace

Outcome ConditionTrials::Try(const std::wstring& condition, const Values& known) const {
  if (condition.empty()) return Outcome::kAlways;
  // Only what the condition names makes a difference.
  const ConditionText text(condition);
  Values named;
  for (const auto& [name, value] : known) {
    if (std::find(text.properties.begin(), text.properties.end(), name) != text.properties.end()) {
      named.emplace(name, value);
    }
  }
  const auto [place, is_new] = tried_.try_emplace({condition, named}, Outcome::kMaybe);
  if (is_new) place->second = TryAll(condition, named);
  return place->second;
}

Outcome ConditionTrials::TryAll(const std::wstring& condition, const Values& known) const {
  const ConditionText text(condition);
  if (text.names_others || package_.session() == nullptr) return Outcome::kMaybe;
  std::set<std::wstring> unknown(text.properties.begin(), text.properties.end());
  for (const auto& [name, value] : known) unknown.erase(name);
  const std::vector<std::wstring> candidates = CandidatesOf(text);
  size_t trials = 1;
  for (size_t i = 0; i < unknown.size() && trials <= kMostTrials; ++i) trials *= candidates.size();
  if (trials > kMostTrials) return Outcome::kMaybe;
  bool is_ever = false;
  bool is_always = true;
  for (size_t trial = 0; trial < trials; ++trial) {
    Values values = known;
    size_t rest = trial;
    for (const std::wstring& name : unknown) {
      values[name] = candidates[rest % candidates.size()];
      rest /= candidates.size();
    }
    const auto state = package_.Evaluate(condition, values);
    if (state == MSICONDITION_ERROR) return Outcome::kMaybe;
    (state == MSICONDITION_FALSE ? is_always : is_ever) = state != MSICONDITION_FALSE;
  }
  return is_always ? Outcome::kAlways : is_ever ? Outcome::kMaybe : Outcome::kNever;
}

const std::vector<Values>& KnownSystems() {
  static const std::vector<Values> systems = [] {
    constexpr struct {
      const wchar_t* version;
      const wchar_t* build;
      bool is_old;  // Windows 95, 98 and Me.
      bool can_be_64;
    } kVersions[] = {{L"400", L"1111", true, false},  {L"410", L"2222", true, false},
                     {L"400", L"1381", false, false}, {L"500", L"2195", false, false},
                     {L"501", L"2600", false, false}, {L"502", L"3790", false, true},
                     {L"600", L"6002", false, true},  {L"601", L"7601", false, true},
                     {L"602", L"9200", false, true},  {L"603", L"9600", false, true}};
    std::vector<Values> made;
    for (const auto& [version, build, is_old, can_be_64] : kVersions) {
      for (const bool is_64 : {false, true}) {
        if (is_64 && !can_be_64) continue;
        for (const wchar_t* product : {L"1", L"3"}) {  // A workstation or a server.
          made.push_back({{L"VersionNT", is_old ? L"" : version},
                          {L"Version9X", is_old ? version : L""},
                          {L"VersionNT64", is_64 ? version : L""},
                          {L"Msix64", is_64 ? L"1" : L""},
                          {L"MsiAMD64", is_64 ? L"1" : L""},
                          {L"Intel64", L""},
                          {L"WindowsBuild", build},
                          {L"MsiNTProductType", is_old ? L"" : product}});
        }
      }
    }
    return made;
  }();
  return systems;
}

}  // namespace check
