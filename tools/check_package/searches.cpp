#include <algorithm>

#include "conditions.h"
#include "contract/properties.h"
#include "contract/tables.h"
#include "plain_text.h"
#include "prereq/carried_properties.h"
#include "search.h"
#include "util/text.h"

namespace check {
namespace {

using appsearch::SearchKind;

constexpr SearchKind kLastKind = SearchKind::kComponent;
constexpr std::wstring_view kLetters = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";

bool IsName(const std::wstring& name) {
  return name.find_first_of(kLetters) == 0 &&
         name.find_first_not_of(std::wstring(kLetters) + L".0123456789") == name.npos;
}

void CheckProperty(const Context& context, const Search& search) {
  const std::wstring name = search.row.Get(L"Property");
  const Place place = search.At(L"Property");
  const bool is_public = prereq::IsPublicPropertyName(name);
  if (!IsName(name)) {
    context.report->Add(kNoPropertyName, place, {name});
  } else if (!is_public && KnownProperties::IsInstallers(name)) {
    // Public ones are there for others to set.
    context.report->Add(kOwnedByInstaller, place, {name});
  } else if (!is_public && context.schedule.user_interface.First(Phase::kSearch) != nullptr &&
             context.schedule.execute.First(Phase::kSearch) == nullptr) {
    context.report->Add(kPrivateProperty, place, {name});
  }
}

void CheckCondition(const Context& context, const Search& search) {
  const std::wstring condition = search.row.Get(L"Condition");
  const Place place = search.At(L"Condition");
  const std::optional<MSICONDITION> state = context.package.Evaluate(condition);
  if (condition.empty() || !state) return;
  if (state == MSICONDITION_ERROR) {
    context.report->Add(kBadSearchCondition, place, {condition});
  } else if (ConditionText(condition).IsConstant() && state == MSICONDITION_FALSE) {
    context.report->Add(kNeverSearched, place, {condition});
  }
  CheckConditionNames(context, kSearchOnUnset, place, condition);
  CheckVersionsAsText(context, place, condition);
}

void CheckCode(const Context& context, const Search& search) {
  constexpr std::wstring_view kForm = L"{hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh}";
  constexpr std::wstring_view kDigits = L"0123456789abcdefABCDEF";
  if (HasReference(search.text)) return;
  const bool fits =
      std::equal(kForm.begin(), kForm.end(), search.text.begin(), search.text.end(),
                 [&](wchar_t form, wchar_t letter) {
                   return form == L'h' ? kDigits.find(letter) != kDigits.npos : form == letter;
                 });
  if (!fits) context.report->Add(kBadCode, search.At(L"SearchString"), {search.text});
}

void CheckPlatform(const Context& context, const Search& search) {
  const std::wstring platform = search.row.Get(L"Platform");
  if (platform.empty() || platform == L"0") return;
  const Place place = search.At(L"Platform");
  const bool has_views =
      search.kind < SearchKind::kProduct ||
      (search.kind > SearchKind::kRelatedProducts && search.kind < SearchKind::kProgram);
  if (platform != L"1") {
    context.report->Add(kPlatformUnknown, place, {platform});
  } else if (!has_views) {
    context.report->Add(kPlatformUnused, place, {search.Number()});
  }
}

// True when a sequence searches before it knows the folders of the package.
bool SearchesBeforeCosting(const Context& context) {
  for (const Sequence* sequence : {&context.schedule.user_interface, &context.schedule.execute}) {
    const ScheduledAction* const first = sequence->First(Phase::kSearch);
    const ScheduledAction* const costing = sequence->Find(L"CostFinalize");
    if (first != nullptr && costing != nullptr && first->number < costing->number) return true;
  }
  return false;
}

// References that the installer replaces: by nothing, when nobody has set them yet.
void CheckFormatted(const Context& context, const Search& search) {
  if (context.package.session() == nullptr) return;
  const Place place = search.At(L"SearchString");
  const std::set<std::wstring> folders = context.package.Cells(L"Directory", L"Directory");
  for (const std::wstring& name : PropertiesInText(search.text)) {
    const bool is_given = !context.package.DefaultOf(name).empty() ||
                          context.properties.IsSetOtherwise(name) ||
                          context.properties.IsSearched(name);
    const bool is_known_late = name == L"TARGETDIR" || name == L"SourceDir" ||
                               (folders.contains(name) && !KnownProperties::IsInstallers(name));
    if (is_given) continue;
    if (name == contract::kSetupFolderProperty) {
      if (!context.properties.IsSecure(name)) {
        context.report->Add(kEmptyThen, place, {name, L"is set by a setup executable alone"});
      }
    } else if (is_known_late && SearchesBeforeCosting(context)) {
      context.report->Add(kEmptyThen, place,
                          {name, L"is known after CostFinalize, which comes later"});
    } else if (!prereq::IsPublicPropertyName(name) && !context.properties.IsSet(name)) {
      context.report->Add(kSearchTextOnUnset, place, {name});
    }
  }
}

void CheckText(const Context& context, const Search& search) {
  const Place place = search.At(L"SearchString");
  if (search.text.empty() && search.kind != SearchKind::kProgram) {
    context.report->Add(kNothingToSearch, place);
    return;
  }
  switch (search.kind) {
    case SearchKind::kFile:
      CheckFile(context, search);
      CheckRegistryReferences(context, search);
      break;
    case SearchKind::kProgram:
      CheckRegistryReferences(context, search);
      break;
    case SearchKind::kProduct:
    case SearchKind::kRelatedProducts:
    case SearchKind::kComponent:
      CheckCode(context, search);
      break;
    default:
      CheckRegistry(context, search);
  }
  if (!IsAscii(search.text)) context.report->Add(kSearchNotEverywhere, place, {search.text});
  CheckFormatted(context, search);
}

}  // namespace

std::wstring Search::Number() const { return util::ToSignedDecimal(static_cast<int32_t>(kind)); }

Place Search::At(const wchar_t* column) const {
  return {contract::kSearchTable, row.Get(L"Property") + L"/" + row.Get(L"Order"), column};
}

void CheckSearches(const Context& context) {
  const RegistryTypes types(context.package);
  for (const msi::TableRow& row : context.package.Rows(contract::kSearchTable)) {
    const std::wstring text = row.Get(L"SearchString");
    const Search search = {row,
                           static_cast<SearchKind>(util::ParseDecimal<int32_t>(row.Get(L"Type"))),
                           text,
                           Plain(text),
                           row.Get(L"Platform") == L"1",
                           types};
    CheckProperty(context, search);
    CheckCondition(context, search);
    if (search.kind < SearchKind::kFile || search.kind > kLastKind) {
      context.report->Add(kUnknownKind, search.At(L"Type"), {row.Get(L"Type")});
      continue;
    }
    CheckText(context, search);
    CheckBounds(context, search);
    CheckRefContent(context, search);
    CheckPlatform(context, search);
  }
  CheckReaders(context);
}

}  // namespace check
