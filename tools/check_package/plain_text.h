#ifndef CHECK_PACKAGE_PLAIN_TEXT_H_
#define CHECK_PACKAGE_PLAIN_TEXT_H_

#include <algorithm>
#include <string>
#include <string_view>

namespace check {

inline bool IsAscii(std::wstring_view text) {
  return std::all_of(text.begin(), text.end(), [](wchar_t letter) { return letter <= L'\x7f'; });
}

// The text for the library's rules on narrow text, each character beyond ASCII as the letter "x":
// of the same length, and the same on machines of every code page.
inline std::string Plain(std::wstring_view text) {
  std::string plain;
  for (const wchar_t letter : text) plain += letter <= L'\x7f' ? static_cast<char>(letter) : 'x';
  return plain;
}

// The way back for what is ASCII.
inline std::wstring Wide(std::string_view text) { return {text.begin(), text.end()}; }

}  // namespace check

#endif  // CHECK_PACKAGE_PLAIN_TEXT_H_
