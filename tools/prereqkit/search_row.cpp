// From what an author asks for to a row of `QX_AppSearchEx`.

#include <algorithm>
#include <iterator>

#include "appsearch/registry_values.h"
#include "require.h"
#include "util/text.h"

namespace kit {
namespace {

constexpr wchar_t kHidden[] = L"WND_HIDE";
constexpr const wchar_t* kRoots[] = {L"HKLM", L"HKCU", L"HKCR", L"HKCC"};

bool IsCode(const std::wstring& text) {
  constexpr std::wstring_view kForm = L"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
  if (text.size() != kForm.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const wchar_t small = util::FoldAscii(text[i]);
    const bool is_digit = (small >= L'0' && small <= L'9') || (small >= L'a' && small <= L'f');
    if (kForm[i] == L'x' ? !is_digit : text[i] != kForm[i]) return false;
  }
  return true;
}

bool HasDigit(const std::wstring& text) { return text.find_first_of(L"0123456789") != text.npos; }

std::wstring WhyNoPath(const std::wstring& path, bool is_value) {
  const std::wstring root = path.substr(0, path.find(L'\\'));
  if (std::none_of(std::begin(kRoots), std::end(kRoots),
                   [&](const wchar_t* one) { return root == one; })) {
    return L"\"" + root + L"\" is no root of the registry: write HKLM, HKCU, HKCR or HKCC";
  }
  const size_t first = path.find(L'\\');
  const size_t last = path.rfind(L'\\');
  if (first == path.npos || first + 1 == path.size()) return L"the path names no key";
  if (!is_value) return {};
  if (last == first || last + 1 == path.size()) {
    return L"\"" + path +
           L"\" ends in a key, and --find takes a value: add the value's name, or use --find-key";
  }
  return {};
}

// On this machine the last name of the path is that of a key, and of no value.
bool IsKeyHere(const std::wstring& path, bool view64) {
  const std::string narrow = util::ToAnsi(path);
  const auto value = appsearch::SplitValuePath(narrow);
  if (!value || !appsearch::OpenKey(narrow, view64)) return false;
  const util::UniqueRegistryKey key = appsearch::OpenKey(value->key, view64);
  return !key || ::RegQueryValueExA(key.Get(), value->name.c_str(), nullptr, nullptr, nullptr,
                                    nullptr) != ERROR_SUCCESS;
}

std::wstring WhyNoBounds(const Requirement& wish) {
  if (wish.at_least.empty() && wish.at_most.empty()) return {};
  if (wish.search != kFileSearch && wish.search != kValueSearch && wish.search != kProductSearch &&
      wish.search != kRelatedSearch) {
    return L"--at-least and --at-most go with --find, --find-file, --find-product and "
           L"--find-related: the other searches have no version";
  }
  for (const std::wstring& bound : {wish.at_least, wish.at_most}) {
    if (!bound.empty() && !HasDigit(bound)) return L"\"" + bound + L"\" is no version";
  }
  return {};
}

// A registry value between two "!" is read as a text or a number, and again and again when it is
// neither.
std::wstring WhyNoReference(const Requirement& wish) {
  for (size_t at = wish.search_text.find(L'!'); at != std::wstring::npos;) {
    const size_t end = wish.search_text.find(L'!', at + 1);
    if (end == std::wstring::npos) break;
    const std::wstring path = wish.search_text.substr(at + 1, end - at - 1);
    const auto value = appsearch::SplitValuePath(util::ToAnsi(path));
    const util::UniqueRegistryKey key =
        value ? appsearch::OpenKey(value->key, false) : util::UniqueRegistryKey();
    DWORD type = REG_SZ;
    if (key) {
      (void)::RegQueryValueExA(key.Get(), value->name.c_str(), nullptr, &type, nullptr, nullptr);
    }
    if (type != REG_SZ && type != REG_DWORD) {
      return L"\"" + path +
             L"\" is neither a plain text nor a number on this machine: the installation would "
             L"read it again and again and never go on";
    }
    at = wish.search_text.find(L'!', end + 1);
  }
  return {};
}

}  // namespace

std::wstring WhyNoSearch(const Requirement& wish) {
  if (wish.search < 0) {
    if (!wish.at_least.empty() || !wish.at_most.empty() || wish.view64) {
      return L"--at-least, --at-most and --64 belong to a search";
    }
    return wish.missing.empty()
               ? L"say how the prerequisite is found: --find, --find-file, --find-product, "
                 L"--find-related, --find-component, --find-key, --find-program, or --missing"
               : L"";
  }
  if (!wish.missing.empty()) return L"--missing stands in place of a search: give one of the two";
  if (wish.search_text.empty()) return L"the search has nothing to search for";
  if (const std::wstring reason = WhyNoBounds(wish); !reason.empty()) return reason;
  switch (wish.search) {
    case kValueSearch:
      if (const std::wstring reason = WhyNoPath(wish.search_text, true); !reason.empty()) {
        return reason;
      }
      return IsKeyHere(wish.search_text, wish.view64)
                 ? L"\"" + wish.search_text +
                       L"\" is a key on this machine, and --find takes a value: add the value's "
                       L"name, or use --find-key"
                 : L"";
    case kKeySearch:
      return WhyNoPath(wish.search_text, false);
    case kProductSearch:
    case kRelatedSearch:
    case kComponentSearch:
      return IsCode(wish.search_text)
                 ? L""
                 : L"\"" + wish.search_text +
                       L"\" is no code of the form {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}";
    case kFileSearch:
      if (wish.search_text.back() == L'\\') return L"--find-file takes a file, not a folder";
      return WhyNoReference(wish);
    default:
      return {};
  }
}

Cells SearchCells(const Requirement& wish) {
  const bool is_program = wish.search == kProgramSearch;
  const std::wstring program = wish.search_text.substr(wish.search_text.find_last_of(L"\\/") + 1);
  return {{L"Type", util::ToSignedDecimal(wish.search)},
          {L"SearchString", is_program ? wish.search_arguments : wish.search_text},
          {L"VerMin", is_program ? kHidden : wish.at_least},
          {L"VerMax", wish.at_most},
          {L"Platform", wish.view64 ? L"1" : L""},
          {L"RefContent", is_program ? program : L""}};
}

}  // namespace kit
