#include "prereq/work_folders.h"

#include <doctest.h>

#include "support/action_fixture.h"
#include "support/data_rows.h"
#include "util/os_family.h"

namespace {

std::wstring Replaced(std::wstring text, const std::wstring& mark, const std::wstring& value) {
  for (size_t at = 0; (at = text.find(mark, at)) != text.npos; at += value.size()) {
    text.replace(at, mark.size(), value);
  }
  return text;
}

// Wine makes no links: hidden ones stand in for them.
BOOL WINAPI HiddenIsLink(HANDLE file, BY_HANDLE_FILE_INFORMATION* information) {
  const BOOL result = ::GetFileInformationByHandle(file, information);
  if ((information->dwFileAttributes & FILE_ATTRIBUTE_HIDDEN) != 0) {
    information->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
  }
  return result;
}

std::string SystemAccount() { return {1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0}; }
std::string SomebodyElse(HANDLE) { return {1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}; }
std::string Nobody() { return {}; }

}  // namespace

TEST_CASE("nothing is put below a link, nor into what others gave a service account") {
  if (!util::IsNtFamily()) return;
  test::ActionFixture fixture;
  const msi::InstallerSession& session = fixture.session().session();
  util::FolderFunctions functions = util::SystemFolderFunctions();
  functions.get_information = &HiddenIsLink;
  const std::wstring top = fixture.folder().MakeFolder(L"top");
  session.SetProperty(prereq::kFoldersProperty, top);
  for (const DWORD hidden : {FILE_ATTRIBUTE_NORMAL, FILE_ATTRIBUTE_HIDDEN}) {
    CAPTURE(hidden);
    const DWORD answer = hidden == FILE_ATTRIBUTE_HIDDEN ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
    const std::wstring setup = fixture.folder().Write(L"top\\sub\\deep\\x.exe.part", "");
    const std::wstring target = top + L"\\sub\\deep\\x.exe";
    const auto prepare = [&](const std::wstring& link) {
      ::SetFileAttributesW(link.c_str(), hidden);
      std::vector<util::UniqueFile> held;
      const DWORD error = prereq::PrepareTransfer(session, target, &held, functions);
      // Folders that are held cannot be put out of the way.
      if (error == 0) CHECK_FALSE(::MoveFileW((top + L"\\sub").c_str(), (top + L"2").c_str()));
      ::SetFileAttributesW(link.c_str(), FILE_ATTRIBUTE_NORMAL);
      return error;
    };
    CHECK(prepare(top + L"\\sub") == answer);
    CHECK(prepare(top + L"\\sub\\deep") == answer);
    CHECK(prepare(setup) == answer);
    CHECK(prepare(top) == ERROR_SUCCESS);  // The package's own choice.
  }
  functions.read_owner = &SomebodyElse;
  functions.read_account = &Nobody;
  CHECK(prereq::PrepareWorkFolder(top, functions) == ERROR_SUCCESS);
  functions.read_account = &SystemAccount;
  CHECK(prereq::PrepareWorkFolder(top, functions) == ERROR_ACCESS_DENIED);
  std::vector<util::UniqueFile> held;
  CHECK(prereq::PrepareTransfer(session, top + L"\\x.exe", &held, functions) ==
        ERROR_ACCESS_DENIED);
}

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
  // Nowhere to put files is no folder, not one named after the product somewhere.
  rig.SetProperty(L"QX_DOWNLOAD_DIR", L"");
  rig.SetProperty(L"QX_EXTRACT_DIR", L"");
  rig.SetProperty(L"TempFolder", L"");
  CHECK(prereq::DownloadFolder(rig.session()).empty());
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
