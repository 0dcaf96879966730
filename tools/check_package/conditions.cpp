#include "conditions.h"

#include <algorithm>
#include <iterator>

#include "util/text.h"

namespace check {
namespace {

enum class TokenKind { kProperty, kMarked, kLiteral, kSign, kOther };

struct Token {
  TokenKind kind;
  std::wstring text;
};

constexpr std::wstring_view kMarks = L"%$?&!";
constexpr std::wstring_view kSigns = L"=<>~";

bool IsLetter(wchar_t letter) {
  const wchar_t folded = util::FoldAscii(letter);
  return (folded >= L'a' && folded <= L'z') || letter == L'_' || letter > L'\x7f';
}
bool IsDigit(wchar_t letter) { return letter >= L'0' && letter <= L'9'; }
bool IsNameLetter(wchar_t letter) { return IsLetter(letter) || IsDigit(letter) || letter == L'.'; }

bool IsOperator(std::wstring_view word) {
  std::wstring folded(word);
  std::transform(folded.begin(), folded.end(), folded.begin(), &util::FoldAscii);
  static constexpr const wchar_t* kOperators[] = {L"not", L"and", L"or", L"xor", L"eqv", L"imp"};
  return std::any_of(std::begin(kOperators), std::end(kOperators),
                     [&](const wchar_t* one) { return folded == one; });
}

// The end of the longest run from `at` on whose letters all are of that sort.
template <typename Predicate>
size_t EndOf(std::wstring_view text, size_t at, Predicate fits) {
  while (at < text.size() && fits(text[at])) ++at;
  return at;
}

Token NextToken(std::wstring_view text, size_t* at) {
  const size_t begin = *at;
  const wchar_t letter = text[begin];
  if (letter == L'"') {
    const size_t end = text.find(L'"', begin + 1);
    *at = end == text.npos ? text.size() : end + 1;
    return {TokenKind::kLiteral, std::wstring(text.substr(begin + 1, end - begin - 1))};
  }
  const bool is_marked = kMarks.find(letter) != kMarks.npos;
  const size_t word = is_marked ? begin + 1 : begin;
  if (word < text.size() && IsLetter(text[word])) {
    *at = EndOf(text, word, &IsNameLetter);
    const std::wstring name(text.substr(word, *at - word));
    if (is_marked) return {TokenKind::kMarked, name};
    return {IsOperator(name) ? TokenKind::kOther : TokenKind::kProperty, name};
  }
  if (IsDigit(letter)) {
    *at = EndOf(text, begin, &IsNameLetter);
    return {TokenKind::kLiteral, std::wstring(text.substr(begin, *at - begin))};
  }
  if (kSigns.find(letter) != kSigns.npos) {
    *at = EndOf(text, begin, [](wchar_t one) { return kSigns.find(one) != kSigns.npos; });
    const size_t sign = letter == L'~' ? begin + 1 : begin;
    return {TokenKind::kSign, std::wstring(text.substr(sign, *at - sign))};
  }
  *at = begin + 1;
  return {TokenKind::kOther, std::wstring(1, letter)};
}

std::vector<Token> TokensOf(std::wstring_view condition) {
  std::vector<Token> tokens;
  for (size_t at = 0; at < condition.size();) {
    if (condition[at] == L' ' || condition[at] == L'\t') {
      ++at;
      continue;
    }
    tokens.push_back(NextToken(condition, &at));
  }
  return tokens;
}

}  // namespace

ConditionText::ConditionText(std::wstring_view condition) {
  const std::vector<Token> tokens = TokensOf(condition);
  for (size_t i = 0; i < tokens.size(); ++i) {
    const Token& token = tokens[i];
    if (token.kind == TokenKind::kProperty) properties.push_back(token.text);
    if (token.kind == TokenKind::kLiteral) literals.insert(token.text);
    names_others |= token.kind == TokenKind::kMarked;
    if (token.kind != TokenKind::kSign || i == 0 || i + 1 == tokens.size()) continue;
    const Token& left = tokens[i - 1];
    const Token& right = tokens[i + 1];
    if (left.kind == TokenKind::kProperty && right.kind == TokenKind::kLiteral) {
      comparisons.push_back({left.text, token.text, right.text});
    } else if (left.kind == TokenKind::kLiteral && right.kind == TokenKind::kProperty) {
      comparisons.push_back({right.text, token.text, left.text});
    }
  }
}

std::vector<std::wstring> PropertiesInText(std::wstring_view text) {
  std::vector<std::wstring> properties;
  for (size_t open = text.find(L'['); open != text.npos; open = text.find(L'[', open + 1)) {
    const size_t end = EndOf(text, open + 1, &IsNameLetter);
    if (end < text.size() && text[end] == L']' && end > open + 1 && IsLetter(text[open + 1])) {
      properties.emplace_back(text.substr(open + 1, end - open - 1));
    }
  }
  return properties;
}

bool HasReference(std::wstring_view text) { return !PropertiesInText(text).empty(); }

std::vector<std::wstring_view> WordsIn(std::wstring_view text) {
  std::vector<std::wstring_view> words;
  for (size_t at = 0; at < text.size();) {
    const size_t end = EndOf(text, at, &IsNameLetter);
    if (end != at) words.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

}  // namespace check
