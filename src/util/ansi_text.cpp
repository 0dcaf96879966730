#include "util/ansi_text.h"

#include "util/text.h"

namespace util {

size_t NextCharacter(std::string_view text, size_t at, UINT code_page) {
  const bool two_bytes =
      at < text.size() && ::IsDBCSLeadByteEx(code_page, static_cast<BYTE>(text[at]));
  return at + (two_bytes ? 2 : 1);
}

size_t FindAnyOf(std::string_view text, std::string_view marks, size_t from, UINT code_page) {
  for (size_t i = from; i < text.size(); i = NextCharacter(text, i, code_page)) {
    if (marks.find(text[i]) != kNoPosition) return i;
  }
  return kNoPosition;
}

size_t FindLastOf(std::string_view text, std::string_view marks, UINT code_page) {
  size_t last = kNoPosition;
  for (size_t i = 0; (i = FindAnyOf(text, marks, i, code_page)) != kNoPosition; ++i) last = i;
  return last;
}

std::string WithBackslash(std::string folder) {
  // The last byte may be the second half of a character.
  const size_t slash = FindLastOf(folder, "\\");
  if (slash == kNoPosition || slash + 1 != folder.size()) folder += '\\';
  return folder;
}

std::string ToDecimalAnsi(uint64_t value) {
  const std::wstring digits = ToDecimal(value);
  std::string text;
  for (const wchar_t digit : digits) text += static_cast<char>(digit);
  return text;
}

}  // namespace util
