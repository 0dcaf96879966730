#include "prereq/file_check.h"

#include <doctest.h>

#include "support/make_row.h"
#include "support/temp_folder.h"
#include "util/files.h"
#include "util/text.h"

using test::MakeRow;

TEST_CASE("a setup file matches by size and digest, each only when it is named") {
  const test::TempFolder folder;
  const std::wstring file = folder.Write(L"set up.exe", "abc");
  const std::wstring missing = folder / L"missing.exe";
  const std::wstring digest = L"900150983cd24fb0d6963f7d28e17f72";
  const std::wstring capitals = L"900150983CD24FB0D6963F7D28E17F72";
  const std::wstring other = L"900150983cd24fb0d6963f7d28e17f73";
  const struct {
    const wchar_t* size;
    std::wstring digest;
    bool matches;
    bool missing_matches;
  } cases[] = {
      {L"", L"", true, true},
      {L"0", L"", true, true},
      {L"none", L"", true, true},
      {L"3", L"", true, false},
      {L"3 bytes", L"", true, false},
      {L"2", L"", false, false},
      {L"4", L"", false, false},
      {L"-3", L"", false, false},
      {L"4294967299", L"", false, false},
      {L"", digest, true, false},
      {L"", capitals, true, false},
      {L"", digest + L"0", true, false},
      {L"", digest.substr(0, 31), false, false},
      {L"", other, false, false},
      {L"", L" ", false, false},
      {L"3", digest, true, false},
      {L"2", digest, false, false},
      {L"3", other, false, false},
  };
  for (const auto& [size, md5, matches, missing_matches] : cases) {
    CAPTURE(util::ToAnsi(size));
    CAPTURE(util::ToAnsi(md5));
    const auto row = MakeRow({{L"ExactSize", size}, {L"MD5", md5}});
    CHECK(prereq::SetupFileMatches(row, file) == matches);
    CHECK(prereq::SetupFileMatches(row, missing) == missing_matches);
  }
}

TEST_CASE("a file of 4 GiB or more matches no size") {
  const test::TempFolder folder;
  const std::wstring path = folder / L"sparse";
  const struct {
    uint64_t size;
    const wchar_t* expected;
    bool matches;
  } cases[] = {
      {0xFFFFFFFF, L"4294967295", true},
      {0x100000000, L"4294967296", false},
      {0x100000003, L"4294967299", false},
      {0x100000003, L"3", false},
  };
  for (const auto& [size, expected, matches] : cases) {
    CAPTURE(size);
    const util::UniqueFile file = util::CreateForWriting(path);
    LONG high = static_cast<LONG>(size >> 32);
    ::SetFilePointer(file.Get(), static_cast<LONG>(size), &high, FILE_BEGIN);
    REQUIRE(::SetEndOfFile(file.Get()));
    CHECK(prereq::SetupFileMatches(MakeRow({{L"ExactSize", expected}}), path) == matches);
  }
}
