#ifndef UTIL_ANSI_TEXT_H_
#define UTIL_ANSI_TEXT_H_

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Narrow text in the ANSI code page. In some code pages the second byte of a character can look
// like a backslash or a bracket, so bytes must not be searched one by one.
namespace util {

constexpr size_t kNoPosition = std::string_view::npos;

// Where the first or last of `marks` stands in `text`; kNoPosition when there is none. `from` must
// not point into a character.
size_t FindAnyOf(std::string_view text, std::string_view marks, size_t from = 0,
                 UINT code_page = CP_ACP);
size_t FindLastOf(std::string_view text, std::string_view marks, UINT code_page = CP_ACP);

// Where the character after the one at `at` begins.
size_t NextCharacter(std::string_view text, size_t at, UINT code_page = CP_ACP);

// As the wide form in text.h: `folder` with a backslash at its end.
std::string WithBackslash(std::string folder);

// As ToDecimal() in text.h.
std::string ToDecimalAnsi(uint64_t value);

}  // namespace util

#endif  // UTIL_ANSI_TEXT_H_
