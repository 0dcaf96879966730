#include "util/text.h"

#include <doctest.h>

#include <cstdint>
#include <limits>

using Pieces = std::vector<std::wstring>;

TEST_CASE("a text is cut at every separator, empty pieces included") {
  CHECK(util::Split(L"", L';') == Pieces{});
  CHECK(util::Split(L";", L';') == Pieces{L"", L""});
  CHECK(util::Split(L"one", L';') == Pieces{L"one"});
  CHECK(util::Split(L"a;; b;", L';') == Pieces{L"a", L"", L" b", L""});
}

TEST_CASE("a folder gets one backslash at its end") {
  CHECK(util::WithBackslash(L"C:\\x") == L"C:\\x\\");
  CHECK(util::WithBackslash(L"C:\\") == L"C:\\");
  CHECK(util::WithBackslash(L"C:/x/") == L"C:/x/\\");
  CHECK(util::WithBackslash(L"") == L"\\");
}

TEST_CASE("a number is read up to the first other character and wraps round") {
  const struct {
    const wchar_t* text;
    int32_t narrow;
    int64_t wide;
  } cases[] = {
      {L"", 0, 0},
      {L"-", 0, 0},
      {L"abc", 0, 0},
      {L" 7", 0, 0},
      {L"+7", 0, 0},
      {L"12ab", 12, 12},
      {L"007", 7, 7},
      {L"-5", -5, -5},
      {L"--5", 0, 0},
      {L"2147483648", INT32_MIN, 2147483648},
      {L"4294967297", 1, 4294967297},
      {L"-9223372036854775808", 0, INT64_MIN},
      {L"18446744073709551617", 1, 1},
  };
  for (const auto& [text, narrow, wide] : cases) {
    CAPTURE(util::ToAnsi(text));
    CHECK(util::ParseDecimal<int32_t>(std::wstring(text)) == narrow);
    CHECK(util::ParseDecimal<int64_t>(std::wstring(text)) == wide);
  }
}

TEST_CASE("numbers are written in full at both ends of their range") {
  CHECK(util::ToDecimal(0) == L"0");
  CHECK(util::ToDecimal(UINT64_MAX) == L"18446744073709551615");
  CHECK(util::ToSignedDecimal(-1) == L"-1");
  CHECK(util::ToSignedDecimal(INT64_MIN) == L"-9223372036854775808");
  CHECK(util::ToSignedDecimal(INT64_MAX) == L"9223372036854775807");
}

TEST_CASE("text goes to the ANSI code page and back whole") {
  CHECK(util::ToAnsi(L"").empty());
  CHECK(util::ToWide("").empty());
  const std::wstring with_null(L"a\0b", 3);
  CHECK(util::ToAnsi(with_null) == std::string("a\0b", 3));
  CHECK(util::ToWide(util::ToAnsi(with_null)) == with_null);
  const std::wstring long_text(5000, L'x');
  CHECK(util::ToWide(util::ToAnsi(long_text)) == long_text);
}

TEST_CASE("only A to Z are folded") {
  CHECK(util::FoldAscii(L'A') == L'a');
  CHECK(util::FoldAscii(L'Z') == L'z');
  for (const wchar_t letter : {L'@', L'[', L'a', L'0', L'\u00C4', L'\u0130'}) {
    CHECK(util::FoldAscii(letter) == letter);
  }
}
