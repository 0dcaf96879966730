#ifndef UTIL_TEXT_H_
#define UTIL_TEXT_H_

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace util {

// Between UTF-16 and the ANSI code page (0) or another. Embedded nulls are kept. A character that
// the code page does not have becomes the system's replacement character, never one that looks like
// it; text that cannot be converted at all is empty.
std::string ToAnsi(std::wstring_view text, unsigned code_page = 0);
std::wstring ToWide(std::string_view text, unsigned code_page = 0);

// As ToAnsi(), but whole or not at all: nothing when the code page cannot say a character of
// `text`. For names and for whatever is compared.
std::optional<std::string> TryToAnsi(std::wstring_view text, unsigned code_page = 0);

// Cuts `text` at every `separator`. Empty pieces count, also the one after a final separator; an
// empty text has no pieces.
std::vector<std::wstring> Split(std::wstring_view text, wchar_t separator);

// The text of `folder` with a backslash at its end; one that is there already is not doubled. An
// empty text becomes a backslash alone, which is no folder: who may have one asks first.
std::wstring WithBackslash(std::wstring folder);

// The pieces behind one another. In less code than a row of "+".
std::wstring Concat(std::initializer_list<std::wstring_view> pieces);

// `character` with A to Z as a to z; every other character stays. Independent of any locale.
constexpr wchar_t FoldAscii(wchar_t character) {
  return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a')
                                                : character;
}

// The decimal number at the start of `text`: an optional "-", then digits up to the first other
// character. No digits give 0. A value too large for the type wraps round silently.
template <typename Integer, typename Character>
Integer ParseDecimal(std::basic_string_view<Character> text) {
  using Unsigned = std::make_unsigned_t<Integer>;
  const bool negative = !text.empty() && text.front() == Character{'-'};
  if (negative) text.remove_prefix(1);
  Unsigned value = 0;
  for (const Character character : text) {
    if (character < Character{'0'} || character > Character{'9'}) break;
    value = static_cast<Unsigned>(value * 10 + static_cast<Unsigned>(character - Character{'0'}));
  }
  return static_cast<Integer>(negative ? Unsigned{0} - value : value);
}
template <typename Integer>
Integer ParseDecimal(const std::wstring& text) {
  return ParseDecimal<Integer>(std::wstring_view(text));
}

// Decimal texts. The library's own: the run-time library's drag in locale code.
std::wstring ToDecimal(uint64_t value);
std::wstring ToSignedDecimal(int64_t value);

}  // namespace util

#endif  // UTIL_TEXT_H_
