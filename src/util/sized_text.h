#ifndef UTIL_SIZED_TEXT_H_
#define UTIL_SIZED_TEXT_H_

#include <windows.h>

#include <optional>
#include <string>

namespace util {

// Reads a text of the system, in the ANSI code page or wide. `call` is DWORD(Character* buffer,
// DWORD size): into a buffer that is too small it answers the size with the terminator, else the
// length without it, and 0 for failure. Nothing when it fails at once, as for a variable that is
// not set; empty when the text is, and when it has grown between the two calls. Nulls inside the
// text are kept.
template <typename Character = char, typename Call>
std::optional<std::basic_string<Character>> ReadSizedText(Call call) {
  DWORD size = call(nullptr, 0);
  if (size == 0) return std::nullopt;
  // One more: not every system's answer counts the terminator.
  std::basic_string<Character> text(++size, Character{});
  const DWORD length = call(text.data(), size);
  text.resize(length < size ? length : 0);
  return text;
}

}  // namespace util

#endif  // UTIL_SIZED_TEXT_H_
