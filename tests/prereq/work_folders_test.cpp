#include "prereq/work_folders.h"

#include <doctest.h>

#include "support/action_fixture.h"
#include "support/data_rows.h"

namespace {

std::wstring Replaced(std::wstring text, const std::wstring& mark, const std::wstring& value) {
  for (size_t at = 0; (at = text.find(mark, at)) != text.npos; at += value.size()) {
    text.replace(at, mark.size(), value);
  }
  return text;
}

}  // namespace

TEST_CASE("the folder list holds what exists of both work folders, once") {
  test::ActionFixture fixture;
  const test::MsiSessionRig& rig = fixture.session();
  const test::TempFolder& folder = fixture.folder();
  for (const wchar_t* name : {L"is there", L"a", L"b"}) folder.MakeFolder(name);
  folder.Write(L"file", "x");
  rig.SetProperty(L"QX_Base", folder.path());
  std::wstring temp = rig.Property(L"TempFolder");
  temp.pop_back();
  const auto filled = [&](const std::wstring& text) {
    return Replaced(Replaced(Replaced(text, L"DIR", folder.path()), L"TEMP", temp), L"CODE",
                    fixture.package().product_code());
  };
  for (const test::DataRow& row : test::ReadDataRows("prereq/work_folders.txt")) {
    CAPTURE(row.line);
    if (row[0] == L"nearest") {
      CHECK(prereq::NearestExisting(filled(row[1])) == filled(row[2]));
      continue;
    }
    rig.SetProperty(L"QX_DOWNLOAD_DIR", row[1]);
    rig.SetProperty(L"QX_EXTRACT_DIR", row[2]);
    rig.SetProperty(prereq::kFoldersProperty, L"");
    prereq::PrepareFolderList(rig.session());
    CHECK(prereq::DownloadFolder(rig.session()) == filled(row[3]));
    CHECK(rig.Property(prereq::kFoldersProperty) == filled(row[4]));
  }
  rig.SetProperty(prereq::kFoldersProperty, L"C:\\set before");
  prereq::PrepareFolderList(rig.session());
  CHECK(rig.Property(prereq::kFoldersProperty) == L"C:\\set before");
}

TEST_CASE("files are listed in the order they came, repeated ones too") {
  test::ActionFixture fixture;
  const test::MsiSessionRig& rig = fixture.session();
  for (const wchar_t* path : {L"C:\\one", L"C:\\two", L"C:\\one"}) {
    prereq::AppendToFileList(rig.session(), path);
  }
  CHECK(rig.Property(prereq::kFilesProperty) ==
        L"C:\\one\x01"
        L"C:\\two\x01"
        L"C:\\one");
}
