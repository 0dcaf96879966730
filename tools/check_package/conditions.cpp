#include "conditions.h"

#include <algorithm>
#include <iterator>

#include "util/text.h"

namespace check {
namespace {

// Names with the mark in front of them that says of what: 0 for a property.
struct Name {
  wchar_t mark;
  std::wstring text;
  size_t end = 0;  // Behind it in the condition.
};

bool IsLetter(wchar_t letter) {
  const wchar_t folded = util::FoldAscii(letter);
  return (folded >= L'a' && folded <= L'z') || letter == L'_' || letter > L'\x7f';
}
bool IsNameLetter(wchar_t letter) {
  return IsLetter(letter) || (letter >= L'0' && letter <= L'9') || letter == L'.';
}

bool IsOperator(std::wstring_view word) {
  std::wstring folded(word);
  std::transform(folded.begin(), folded.end(), folded.begin(), &util::FoldAscii);
  static constexpr const wchar_t* kOperators[] = {L"not", L"and", L"or", L"xor", L"eqv", L"imp"};
  return std::any_of(std::begin(kOperators), std::end(kOperators),
                     [&](const wchar_t* one) { return folded == one; });
}

std::vector<Name> NamesIn(std::wstring_view condition) {
  std::vector<Name> names;
  for (size_t at = 0; at < condition.size();) {
    const wchar_t letter = condition[at];
    if (letter == L'"') {
      const size_t end = condition.find(L'"', at + 1);
      at = end == condition.npos ? condition.size() : end + 1;
      continue;
    }
    if (!IsLetter(letter)) {
      ++at;
      continue;
    }
    size_t end = at;
    while (end < condition.size() && IsNameLetter(condition[end])) ++end;
    const wchar_t before = at == 0 ? L' ' : condition[at - 1];
    const std::wstring_view word = condition.substr(at, end - at);
    const bool is_marked = std::wstring_view(L"%$?&!").find(before) != std::wstring_view::npos;
    if (is_marked) {
      names.push_back({before, std::wstring(word), end});
    } else if (!IsOperator(word)) {
      names.push_back({0, std::wstring(word), end});
    }
    at = end;
  }
  return names;
}

// True for what begins with an equals or unequal sign and a 1, quoted or not.
bool ComparesWithOne(std::wstring_view text) {
  const auto skip = [&](std::wstring_view what) {
    text.remove_prefix(std::min(text.find_first_not_of(L' '), text.size()));
    if (!text.starts_with(what)) return false;
    text.remove_prefix(what.size());
    return true;
  };
  (void)skip(L"~");
  if (!skip(L"=") && !skip(L"<>")) return false;
  return skip(L"\"1\"") || (skip(L"1") && (text.empty() || !IsNameLetter(text.front())));
}

}  // namespace

std::vector<std::wstring> PropertiesComparedWithOne(std::wstring_view condition) {
  std::vector<std::wstring> properties;
  for (const Name& name : NamesIn(condition)) {
    if (name.mark == 0 && ComparesWithOne(condition.substr(name.end))) {
      properties.push_back(name.text);
    }
  }
  return properties;
}

std::vector<std::wstring> PropertiesInCondition(std::wstring_view condition) {
  std::vector<std::wstring> properties;
  for (const Name& name : NamesIn(condition)) {
    if (name.mark == 0) properties.push_back(name.text);
  }
  return properties;
}

bool IsConstant(std::wstring_view condition) { return NamesIn(condition).empty(); }

bool NamesMoreThanProperties(std::wstring_view condition) {
  const std::vector<Name> names = NamesIn(condition);
  return std::any_of(names.begin(), names.end(), [](const Name& name) { return name.mark != 0; });
}

std::vector<std::wstring> PropertiesInText(std::wstring_view text) {
  std::vector<std::wstring> properties;
  for (size_t open = text.find(L'['); open != text.npos; open = text.find(L'[', open + 1)) {
    size_t end = open + 1;
    while (end < text.size() && IsNameLetter(text[end])) ++end;
    if (end < text.size() && text[end] == L']' && end > open + 1 && IsLetter(text[open + 1])) {
      properties.emplace_back(text.substr(open + 1, end - open - 1));
    }
  }
  return properties;
}

bool HasReference(std::wstring_view text) { return !PropertiesInText(text).empty(); }

}  // namespace check
