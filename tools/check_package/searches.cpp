#include <algorithm>
#include <set>

#include "appsearch/app_search_runner.h"
#include "appsearch/criterion.h"
#include "appsearch/file_search.h"
#include "appsearch/folder_resolver.h"
#include "appsearch/registry_values.h"
#include "appsearch/value_comparison.h"
#include "appsearch/version.h"
#include "checks.h"
#include "conditions.h"
#include "prereq/carried_properties.h"
#include "util/ansi_text.h"
#include "util/text.h"

namespace check {
namespace {

using appsearch::SearchKind;

constexpr Kind kUnknownKind{L"PRE301", Severity::kError};
constexpr Kind kBadProperty{L"PRE302", Severity::kError};
constexpr Kind kPrivateProperty{L"PRE303", Severity::kWarning};
constexpr Kind kBadCondition{L"PRE304", Severity::kError};
constexpr Kind kNeverSearched{L"PRE305", Severity::kError};
constexpr Kind kNobodySets{L"PRE306", Severity::kWarning};
constexpr Kind kNothingToSearch{L"PRE307", Severity::kError};
constexpr Kind kNoFileName{L"PRE308", Severity::kError};
constexpr Kind kWildcardFolder{L"PRE309", Severity::kError};
constexpr Kind kBadDepth{L"PRE310", Severity::kWarning};
constexpr Kind kNoKey{L"PRE311", Severity::kError};
constexpr Kind kNoValue{L"PRE312", Severity::kError};
constexpr Kind kBadCode{L"PRE313", Severity::kError};
constexpr Kind kNoVersion{L"PRE314", Severity::kError};
constexpr Kind kLongVersion{L"PRE315", Severity::kWarning};
constexpr Kind kNothingBetween{L"PRE316", Severity::kError};
constexpr Kind kBoundUnused{L"PRE317", Severity::kWarning};
constexpr Kind kNotFormatted{L"PRE318", Severity::kWarning};
constexpr Kind kBadComparison{L"PRE319", Severity::kError};
constexpr Kind kReferenceUnused{L"PRE320", Severity::kWarning};
constexpr Kind kNoProgram{L"PRE321", Severity::kError};
constexpr Kind kBadPlatform{L"PRE322", Severity::kWarning};
constexpr Kind kUnknownReference{L"PRE323", Severity::kWarning};

constexpr SearchKind kLastKind = SearchKind::kComponent;
constexpr SearchKind kLastBoundedKind = SearchKind::kRelatedProducts;

constexpr wchar_t kHide[] = L"WND_HIDE";

struct Search {
  const msi::TableRow& row;
  SearchKind kind;
  std::wstring text;
  std::string narrow;  // The same as the search engine gets it, references in it as they stand.
  bool view64;

  [[nodiscard]] std::wstring Number() const {
    return util::ToSignedDecimal(static_cast<int32_t>(kind));
  }
  [[nodiscard]] std::wstring At(std::wstring_view column) const {
    return Cell(appsearch::kSearchTable, row.Get(L"Property") + L"/" + row.Get(L"Order"), column);
  }
};

bool IsName(const std::wstring& name) {
  constexpr wchar_t kLetters[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
  constexpr wchar_t kOthers[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_.0123456789";
  return name.find_first_of(kLetters) == 0 && name.find_first_not_of(kOthers) == name.npos;
}

void CheckProperty(const Context& context, const Search& search) {
  const std::wstring name = search.row.Get(L"Property");
  if (!IsName(name)) {
    context.report->Add(kBadProperty, search.At(L"Property"),
                        Quoted(name) +
                            L" is no name of a property (letters, digits, _ and .): "
                            L"what is found cannot be kept in it");
  } else if (!prereq::IsPublicPropertyName(name) &&
             context.schedule.user_interface.First(Phase::kSearch) != nullptr &&
             context.schedule.execute.First(Phase::kSearch) == nullptr) {
    context.report->Add(kPrivateProperty, search.At(L"Property"),
                        Quoted(name) +
                            L" has small letters, so what is found does not reach "
                            L"InstallExecuteSequence, where no search is scheduled. Use capitals "
                            L"only, or schedule the search there too");
  }
}

void CheckCondition(const Context& context, const Search& search) {
  const std::wstring condition = search.row.Get(L"Condition");
  const std::optional<MSICONDITION> state = context.package.Evaluate(condition);
  if (condition.empty() || !state) return;
  if (state == MSICONDITION_ERROR) {
    context.report->Add(kBadCondition, search.At(L"Condition"),
                        Quoted(condition) +
                            L" is no condition that the installer understands: the search is made "
                            L"always");
  } else if (IsConstant(condition) && state == MSICONDITION_FALSE) {
    context.report->Add(kNeverSearched, search.At(L"Condition"),
                        Quoted(condition) + L" is always false: the search is never made");
  }
  for (const std::wstring& name : PropertiesInCondition(condition)) {
    const std::wstring why = context.properties.WhyNeverSet(name);
    if (!why.empty()) context.report->Add(kNobodySets, search.At(L"Condition"), why);
  }
}

void CheckFile(const Context& context, const Search& search) {
  const size_t depth = appsearch::FindDepth(search.narrow);
  const std::string path = search.narrow.substr(0, depth);
  const std::wstring place = search.At(L"SearchString");
  if (depth != util::kNoMark) {
    const std::string levels = search.narrow.substr(depth + 1);
    const size_t digits = levels.find_first_not_of(" +");
    if (digits == levels.npos || levels.find_first_not_of("0123456789[]", digits) == digits) {
      context.report->Add(kBadDepth, place,
                          Quoted(L"?" + util::ToWide(levels)) +
                              L" names no number of folder levels: only the folder itself is "
                              L"searched. Write ?2 for two levels below");
    }
  }
  const size_t slash = util::FindLastMark(path, "\\");
  if (slash != util::kNoMark && slash + 1 == path.size()) {
    context.report->Add(kNoFileName, place,
                        Quoted(search.text) +
                            L" ends in a folder: the search needs a file's name and never finds "
                            L"anything");
  } else if (slash != util::kNoMark && path.substr(0, slash).find('*') != std::string::npos) {
    context.report->Add(kWildcardFolder, place,
                        Quoted(search.text) +
                            L" has a * in a folder's name, where it stands for nothing: the search "
                            L"never finds anything. Only the file's name can have one; folders "
                            L"below are searched with ?1, ?2 and so on");
  }
}

// Registry values that a path refers to: !HKLM\key\value!
void CheckReferences(const Context& context, const Search& search) {
  size_t at = 0;
  while (const auto reference = appsearch::FindReference(search.narrow, at)) {
    at = reference->end;
    if (reference->mark != '!') continue;
    const std::wstring path = util::ToWide(reference->name);
    CheckRoot(context, search.At(L"SearchString"), path);
    CheckComparedValue(context, search.At(L"SearchString"), path, /*view64=*/false);
  }
}

void CheckRegistry(const Context& context, const Search& search) {
  const std::wstring place = search.At(L"SearchString");
  const bool is_key = search.kind == SearchKind::kSubkeys ||
                      search.kind == SearchKind::kKeyExists || search.kind == SearchKind::kNoKey;
  const auto value = appsearch::SplitValuePath(search.narrow);
  const bool has_key = value && (is_key || appsearch::SplitValuePath(value->key));
  if (!has_key && !HasReference(search.text)) {
    const std::wstring always =
        search.kind == SearchKind::kNoKey || search.kind == SearchKind::kNoValue
            ? L"counts as missing on every machine"
            : L"is never found";
    if (is_key) {
      context.report->Add(kNoKey, place,
                          Quoted(search.text) + L" names no key and " + always +
                              L". Write the root and the key: HKLM\\Software\\Maker");
    } else {
      context.report->Add(kNoValue, place,
                          Quoted(search.text) + L" names no value of a key and " + always +
                              L". Write root, key and value: HKLM\\Software\\Maker\\Version; with "
                              L"a backslash at the end it is the key's default value");
    }
    return;
  }
  CheckRoot(context, place, search.text);
  if (search.kind == SearchKind::kValueCompares)
    CheckComparedValue(context, place, search.text, search.view64);
}

void CheckCode(const Context& context, const Search& search) {
  constexpr std::wstring_view kForm = L"{hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh}";
  if (HasReference(search.text)) return;
  const bool fits =
      search.text.size() == kForm.size() &&
      std::equal(kForm.begin(), kForm.end(), search.text.begin(), [](wchar_t form, wchar_t letter) {
        return form != L'h' ? form == letter
                            : std::wstring_view(L"0123456789abcdefABCDEF").find(letter) !=
                                  std::wstring_view::npos;
      });
  if (fits) return;
  context.report->Add(kBadCode, search.At(L"SearchString"),
                      Quoted(search.text) +
                          L" is no code such as {6F2A1C7E-94B7-4B0C-8D24-0C4B5B3C1A10}, braces "
                          L"included: nothing is ever found");
}

void CheckBound(const Context& context, const Search& search, const wchar_t* column) {
  const std::wstring bound = search.row.Get(column);
  const std::wstring place = search.At(column);
  if (bound.empty()) return;
  if (HasReference(bound)) {
    context.report->Add(kNotFormatted, place,
                        Quoted(bound) + L": references are not replaced in this column");
    return;
  }
  if (search.kind == SearchKind::kProgram) {
    if (bound == kHide) return;
    context.report->Add(kBoundUnused, place,
                        Quoted(bound) + L" says nothing to a search of kind 10, which knows only " +
                            kHide + L", exactly so");
    return;
  }
  appsearch::Version version;
  const bool is_version = appsearch::ParseVersion(util::ToAnsi(bound), &version);
  if (search.kind > kLastBoundedKind) {
    // A bound of zeros is how a comparison is told to give the value itself.
    if (search.kind == SearchKind::kValueCompares && version.IsZero()) return;
    context.report->Add(
        kBoundUnused, place,
        L"versions do not bound a search of kind " + search.Number() + L": it finds what it finds");
  } else if (!is_version) {
    context.report->Add(kNoVersion, place,
                        Quoted(bound) +
                            L" is no version (up to four numbers with full stops), so "
                            L"it bounds nothing and anything is found");
  } else if (std::count(bound.begin(), bound.end(), L'.') > 3) {
    context.report->Add(kLongVersion, place,
                        Quoted(bound) + L" has more than four numbers; the rest is not looked at");
  }
}

void CheckBounds(const Context& context, const Search& search) {
  CheckBound(context, search, L"VerMin");
  CheckBound(context, search, L"VerMax");
  appsearch::Version lowest;
  appsearch::Version highest;
  const std::wstring from = search.row.Get(L"VerMin");
  const std::wstring to = search.row.Get(L"VerMax");
  if (search.kind <= kLastBoundedKind && appsearch::ParseVersion(util::ToAnsi(from), &lowest) &&
      appsearch::ParseVersion(util::ToAnsi(to), &highest) && !highest.IsZero() &&
      appsearch::CompareVersions(lowest, highest) > 0) {
    context.report->Add(kNothingBetween, search.At(L"VerMin"),
                        from + L" is above " + to + L" in VerMax: nothing is ever found");
  }
}

void CheckRefContent(const Context& context, const Search& search) {
  const std::wstring reference = search.row.Get(L"RefContent");
  const std::wstring place = search.At(L"RefContent");
  if (search.kind == SearchKind::kProgram) {
    std::set<std::wstring> programs;
    for (const msi::TableRow& row : context.package.Rows(L"Binary", {L"Name"})) {
      programs.insert(row.Get(L"Name"));
    }
    if (!programs.contains(reference)) {
      context.report->Add(kNoProgram, place,
                          (reference.empty() ? std::wstring(L"no program is named")
                                             : Quoted(reference) + L" is not in the table Binary") +
                              L", so nothing is run and nothing found");
    }
  } else if (search.kind == SearchKind::kValueCompares) {
    if (HasReference(reference)) {
      context.report->Add(kNotFormatted, place,
                          Quoted(reference) + L": references are not replaced in this column");
    } else if (!appsearch::CanCompare(util::ToAnsi(reference))) {
      context.report->Add(kBadComparison, place,
                          Quoted(reference) +
                              L" asks for nothing that a value could be: nothing is ever found. "
                              L"It begins with one of = ! < > + - ~; behind < > + - comes a number "
                              L"or a version");
    }
  } else if (!reference.empty()) {
    context.report->Add(kReferenceUnused, place,
                        Quoted(reference) + L" says nothing to a search of kind " +
                            search.Number() +
                            L"; only kind 9 (a comparison) and kind 10 (a program) use the column");
  }
}

void CheckPlatform(const Context& context, const Search& search) {
  const std::wstring platform = search.row.Get(L"Platform");
  if (platform.empty() || platform == L"0") return;
  const bool has_views =
      search.kind < SearchKind::kProduct ||
      (search.kind > SearchKind::kRelatedProducts && search.kind < SearchKind::kProgram);
  if (platform == L"1" && has_views) return;
  context.report->Add(
      kBadPlatform, search.At(L"Platform"),
      platform == L"1"
          ? L"searches of kind " + search.Number() + L" know no 64-bit view: the 1 changes nothing"
          : Quoted(platform) + L" counts as 0; only 1 searches the 64-bit view");
}

void CheckText(const Context& context, const Search& search) {
  if (search.text.empty() && search.kind != SearchKind::kProgram) {
    context.report->Add(kNothingToSearch, search.At(L"SearchString"),
                        L"it is empty: there is nothing to search for");
    return;
  }
  switch (search.kind) {
    case SearchKind::kFile:
      CheckFile(context, search);
      CheckReferences(context, search);
      break;
    case SearchKind::kProgram:
      CheckReferences(context, search);
      break;
    case SearchKind::kProduct:
    case SearchKind::kRelatedProducts:
    case SearchKind::kComponent:
      CheckCode(context, search);
      break;
    default:
      CheckRegistry(context, search);
  }
  if (context.package.session() == nullptr) return;
  for (const std::wstring& name : PropertiesInText(search.text)) {
    if (prereq::IsPublicPropertyName(name) || context.properties.IsSet(name)) continue;
    context.report->Add(kUnknownReference, search.At(L"SearchString"),
                        L"no table of this package sets the property [" + name +
                            L"], so nothing is put in its place. Is it written correctly, capitals "
                            L"included?");
  }
}

}  // namespace

void CheckSearches(const Context& context) {
  for (const msi::TableRow& row : context.package.Rows(appsearch::kSearchTable)) {
    const std::wstring text = row.Get(L"SearchString");
    const Search search = {row,
                           static_cast<SearchKind>(util::ParseDecimal<int32_t>(row.Get(L"Type"))),
                           text, util::ToAnsi(text), row.Get(L"Platform") == L"1"};
    CheckProperty(context, search);
    CheckCondition(context, search);
    if (search.kind < SearchKind::kFile || search.kind > kLastKind) {
      context.report->Add(kUnknownKind, search.At(L"Type"),
                          row.Get(L"Type") +
                              L" is no kind of search (0 to 11): nothing is ever "
                              L"found");
      continue;
    }
    CheckText(context, search);
    CheckBounds(context, search);
    CheckRefContent(context, search);
    CheckPlatform(context, search);
  }
}

}  // namespace check
