#include "util/text.h"

#include <doctest.h>

#include <set>

#include "support/data_rows.h"
#include "util/ansi_text.h"
#include "util/process.h"

namespace {

std::wstring InBrackets(const std::wstring& text) {
  std::wstring result;
  for (const std::wstring& piece : util::Split(text, L';')) result += L'[' + piece + L']';
  return result;
}

std::wstring Fold(std::wstring text) {
  for (wchar_t& character : text) character = util::FoldAscii(character);
  return text;
}

}  // namespace

TEST_CASE("texts are cut, read, written and joined by their rules") {
  const std::set<std::wstring> rules = {L"split", L"folder", L"fold",  L"ansi",
                                        L"say",   L"join",   L"number"};
  for (const test::DataRow& row : test::ReadDataRows("util/text_rules.txt")) {
    CAPTURE(row.line);
    REQUIRE(rules.contains(row[0]));
    const std::wstring& text = row[1];
    if (row[0] == L"split") CHECK(InBrackets(text) == row[2]);
    if (row[0] == L"folder") CHECK(util::WithBackslash(text) == row[2]);
    if (row[0] == L"fold") CHECK(Fold(text) == row[2]);
    if (row[0] == L"ansi") CHECK(util::ToWide(util::ToAnsi(text)) == row[2]);
    if (row[0] == L"say") {
      const auto code_page = static_cast<unsigned>(row.Number(1));
      const std::string said = util::ToAnsi(row[2], code_page);
      CHECK(util::ToWide(said, code_page) == row[3]);
      CHECK(util::TryToAnsi(row[2], code_page) ==
            (row.Yes(4) ? std::optional(said) : std::nullopt));
    }
    if (row[0] == L"join") CHECK(util::JoinArguments(util::Split(text, L';')) == row[2]);
    if (row[0] == L"number") {
      CHECK(util::ToSignedDecimal(util::ParseDecimal<int32_t>(text)) == row[2]);
      CHECK(util::ToSignedDecimal(util::ParseDecimal<int64_t>(text)) == row[3]);
    }
  }
  CHECK(util::ToDecimal(UINT64_MAX) == L"18446744073709551615");
}

TEST_CASE("the second byte of a character is no delimiter") {
  constexpr UINT kJapanese = 932;
  // "\x95\x5C" is one character there, and "\x83\x5B" and "\x83\x5D" are two more.
  const std::string text = "C:\\\x95\\x[\x83[\x83]]\\\x95\\";
  CHECK(util::FindAnyOf(text, "[", 0, kJapanese) == 6);
  CHECK(util::FindAnyOf(text, "]", 0, kJapanese) == 11);
  CHECK(util::FindLastOf(text, "\\", kJapanese) == 12);
  CHECK(util::FindLastOf(text, "\\") == text.size() - 1);
  CHECK(util::NextCharacter(text, 3, kJapanese) == 5);
  CHECK(util::FindAnyOf("\x95", "\\", 0, kJapanese) == util::kNoPosition);
  CHECK(util::FindAnyOf("abc", "c", 7) == util::kNoPosition);
}
