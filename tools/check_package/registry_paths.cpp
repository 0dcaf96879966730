#include <algorithm>
#include <iterator>

#include "appsearch/folder_resolver.h"
#include "appsearch/registry_values.h"
#include "conditions.h"
#include "plain_text.h"
#include "search.h"

namespace check {
namespace {

using appsearch::SearchKind;

// Ways to say HKEY_USERS, which is what every unknown root stands for.
constexpr const wchar_t* kUsersRoots[] = {L"HKU", L"HKEY_USERS"};

void CheckRoot(const Context& context, const Place& place, const std::wstring& path) {
  const std::wstring root = path.substr(0, path.find(L'\\'));
  if (!HasReference(root) && appsearch::ParseRoot(Plain(root)) == HKEY_USERS &&
      std::none_of(std::begin(kUsersRoots), std::end(kUsersRoots),
                   [&](const wchar_t* one) { return root == one; })) {
    context.report->Add(kUnknownRoot, place, {root});
  }
  if (path.find(L"\\\\") != path.npos) context.report->Add(kDoubledBackslash, place, {path});
}

// The value of a comparison: that its type can be read.
void CheckComparedValue(const Context& context, const Search& search, const std::wstring& path,
                        bool view64) {
  const Place place = search.At(L"SearchString");
  const auto found = search.types.Find(path, view64);
  if (!found) return;
  switch (found->source) {
    case OtherType::Source::kPackage:
      context.report->Add(kHangsByTable, place, {path, found->type, found->row});
      break;
    case OtherType::Source::kWindows:
      context.report->Add(kHangsEverywhere, place, {path});
      break;
    case OtherType::Source::kThisMachine:
      context.report->Add(kHangsHere, place, {path});
  }
}

// A "%NAME%" in the text that is not within brackets; empty when there is none.
std::wstring FindVariable(const std::wstring& text) {
  for (size_t open = text.find(L'%'); open != text.npos; open = text.find(L'%', open + 1)) {
    const size_t close = text.find(L'%', open + 1);
    if (close == text.npos || (open != 0 && text[open - 1] == L'[')) continue;
    const std::wstring name = text.substr(open + 1, close - open - 1);
    const std::vector<std::wstring_view> words = WordsIn(name);
    if (words.size() == 1 && words[0] == name) return L"%" + name + L"%";
  }
  return {};
}

bool IsForKey(SearchKind kind) {
  return kind == SearchKind::kSubkeys || kind == SearchKind::kKeyExists ||
         kind == SearchKind::kNoKey;
}

}  // namespace

void CheckRegistryReferences(const Context& context, const Search& search) {
  size_t at = 0;
  while (const auto reference = appsearch::FindReference(search.plain, at)) {
    at = reference->end;
    if (reference->mark != '!') continue;
    // The same letters as they were written.
    const std::wstring path = search.text.substr(reference->begin + 1, reference->name.size());
    CheckRoot(context, search.At(L"SearchString"), path);
    CheckComparedValue(context, search, path, /*view64=*/false);
  }
}

void CheckRegistry(const Context& context, const Search& search) {
  const Place place = search.At(L"SearchString");
  const bool is_key = IsForKey(search.kind);
  const auto value = appsearch::SplitValuePath(search.plain);
  const bool has_key = value && (is_key || appsearch::SplitValuePath(value->key));
  if (!has_key && !HasReference(search.text)) {
    const bool is_absence =
        search.kind == SearchKind::kNoKey || search.kind == SearchKind::kNoValue;
    const FindingText& key = is_absence ? kNoKeyMissing : kNoKeyFound;
    const FindingText& name = is_absence ? kNoValueMissing : kNoValueFound;
    context.report->Add(is_key ? key : name, place, {search.text});
    return;
  }
  CheckRoot(context, place, search.text);
  const std::wstring variable = FindVariable(search.text);
  if (!variable.empty()) context.report->Add(kVariableKept, place, {search.text, variable});
  if (search.kind == SearchKind::kValueCompares) {
    CheckComparedValue(context, search, search.text, search.view64);
  }
}

}  // namespace check
