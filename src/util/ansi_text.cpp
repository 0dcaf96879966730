#include "util/ansi_text.h"

#include "util/text.h"

namespace util {

size_t NextLetter(std::string_view text, size_t at, UINT code_page) {
  const bool two_bytes =
      at < text.size() && ::IsDBCSLeadByteEx(code_page, static_cast<BYTE>(text[at]));
  return at + (two_bytes ? 2 : 1);
}

size_t FindMark(std::string_view text, std::string_view marks, size_t from, UINT code_page) {
  for (size_t i = from; i < text.size(); i = NextLetter(text, i, code_page)) {
    if (marks.find(text[i]) != kNoMark) return i;
  }
  return kNoMark;
}

size_t FindLastMark(std::string_view text, std::string_view marks, UINT code_page) {
  size_t last = kNoMark;
  for (size_t i = 0; (i = FindMark(text, marks, i, code_page)) != kNoMark; ++i) last = i;
  return last;
}

std::string WithBackslash(std::string folder) {
  // The last byte may be the second half of a letter.
  const size_t slash = FindLastMark(folder, "\\");
  if (slash == kNoMark || slash + 1 != folder.size()) folder += '\\';
  return folder;
}

std::string ToDecimalAnsi(uint64_t value) {
  const std::wstring digits = ToDecimal(value);
  std::string text;
  for (const wchar_t digit : digits) text += static_cast<char>(digit);
  return text;
}

}  // namespace util
