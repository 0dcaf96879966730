#include "prereq/rows.h"

#include <doctest.h>

#include "prereq/file_check.h"
#include "support/action_fixture.h"
#include "support/data_rows.h"
#include "support/make_row.h"
#include "util/files.h"
#include "util/text.h"

using test::DataRow;
using test::MakeRow;

namespace {

const msi::InstallerSession none(0);

std::wstring WithOwnLanguage(std::wstring text) {
  const std::wstring own = util::ToDecimal(::GetSystemDefaultLangID());
  for (const auto& [mark, value] :
       {std::pair<std::wstring, std::wstring>{L"OWN", own}, {L"CUT", own.substr(1)}}) {
    if (const size_t at = text.find(mark); at != text.npos) text.replace(at, mark.size(), value);
  }
  return text;
}

}  // namespace

TEST_CASE("what a row says, and where its setup file lies") {
  test::ActionFixture fixture;
  const test::MsiSessionRig& rig = fixture.session();
  rig.SetProperty(L"QX_Base", L"C:\\base\\");
  const std::wstring file = fixture.folder().Write(L"set up.exe", "abc");
  for (const DataRow& row : test::ReadDataRows("prereq/rows.txt")) {
    CAPTURE(row.line);
    if (row[0] == L"url") {
      CHECK(prereq::FileNameFromUrl(row[1]) == row[2]);
    } else if (row[0] == L"name") {
      CHECK(
          prereq::ReadPrerequisite(
              MakeRow({{L"Location", row[1]}, {L"SetupFileUrl", row[2]}, {L"TargetName", row[3]}}))
              .file_name == row[4]);
    } else if (row[0] == L"language") {
      CHECK(prereq::LanguageMatches(WithOwnLanguage(row[1])) == row.Yes(2));
    } else if (row[0] == L"option") {
      const auto read = prereq::ReadPrerequisite(MakeRow({{L"Options", row[1]}}));
      CHECK(read.is_mandatory == row.Yes(2));
      CHECK(read.is_after_product == row.Yes(3));
    } else if (row[0] == L"unread") {
      const auto read = prereq::ReadPrerequisite(test::MakeUnreadRow(row[1].c_str()));
      const wchar_t* const reason = prereq::ReasonToPassOver(none, read);
      CHECK((reason == prereq::kUnreadRow) == row.Yes(2));
      CHECK(prereq::SetupFileMatches(none, read) != row.Yes(3));
    } else if (row[0] == L"check") {
      auto read = prereq::ReadPrerequisite(MakeRow({{L"ExactSize", row[1]}, {L"MD5", row[2]}}));
      const auto passes = [&](const std::wstring& path) {
        read.file_path = path;
        util::UniqueFile held;
        const bool right = prereq::SetupFileMatches(none, read, &held);
        held.Reset();
        CHECK(prereq::SetupFileMatches(none, read) == right);
        return right;
      };
      CHECK(passes(file) == row.Yes(3));
      CHECK(passes(file + L" missing") == row.Yes(4));
    } else {
      size_t cell = 2;
      for (const wchar_t* name : {L"QX_SETUPEXEPATH", L"SourceDir", L"QX_FilesInsideExe",
                                  L"QX_EXTRACT_DIR", L"QX_DOWNLOAD_DIR"}) {
        rig.SetProperty(name, row[cell++]);
      }
      const auto read =
          prereq::ReadPrerequisite(MakeRow({{L"Location", row[1]},
                                            {L"SetupFileUrl", L"http://host/file.exe"},
                                            {L"TargetName", L"target.exe"}}));
      CHECK(prereq::SetupFilePath(rig.session(), read) == row[7]);
    }
  }
}

TEST_CASE("a feature qualifies by what is asked of it, and as it is only by request") {
  for (int installed = -7; installed <= 5; ++installed) {
    for (int action = -7; action <= 5; ++action) {
      CAPTURE(installed);
      CAPTURE(action);
      const bool qualifies =
          action == 3 || action == 4 || (action == 5 && (installed == 3 || installed == 4));
      CHECK(prereq::FeatureQualifies(static_cast<INSTALLSTATE>(installed),
                                     static_cast<INSTALLSTATE>(action)) == qualifies);
    }
  }
}

TEST_CASE("a file of 4 GiB or more matches no size") {
  const test::TempFolder folder;
  const std::wstring path = folder / L"sparse";
  const struct {
    uint64_t size;
    const wchar_t* expected;
    bool matches;
  } cases[] = {{0xFFFFFFFF, L"4294967295", true},
               {0x100000000, L"4294967296", false},
               {0x100000003, L"4294967299", false},
               {0x100000003, L"3", false}};
  for (const auto& [size, expected, matches] : cases) {
    CAPTURE(size);
    const util::UniqueFile file = util::CreateForWriting(path);
    auto high = static_cast<LONG>(size >> 32);
    ::SetFilePointer(file.Get(), static_cast<LONG>(size), &high, FILE_BEGIN);
    REQUIRE(::SetEndOfFile(file.Get()));
    auto read = prereq::ReadPrerequisite(MakeRow({{L"ExactSize", expected}}));
    read.file_path = path;
    CHECK(prereq::SetupFileMatches(none, read) == matches);
  }
}
