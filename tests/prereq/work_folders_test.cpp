#include "prereq/work_folders.h"

#include <doctest.h>

#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/test_package.h"
#include "util/text.h"

using test::MsiSessionRig;
using test::ScriptedUi;
using test::TestPackage;

TEST_CASE("a path that does not exist is cut back to its nearest existing ancestor") {
  const test::TempFolder folder;
  const std::wstring there = folder.MakeFolder(L"is there");
  const std::wstring file = folder.Write(L"file", "x");
  const struct {
    std::wstring path;
    std::wstring nearest;
  } cases[] = {
      {there, there},
      {there + L"\\", there + L"\\"},
      {file, file},
      {there + L"\\no\\no either", there},
      {there + L"/no/no\\", there},
      {folder / L"is there not\\x", folder.path()},
      {L"C:\\no such folder 1\\x", L"C:"},
      {L"no such\\relative\\path", L"no such"},
      {L"word", L"word"},
      {L"\\no such folder 1", L""},
      {L"", L""},
  };
  for (const auto& [path, nearest] : cases) {
    CAPTURE(util::ToAnsi(path));
    CHECK(prereq::NearestExisting(path) == nearest);
  }
}

TEST_CASE("the folder list holds what exists of both work folders, once") {
  TestPackage package;
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  const std::wstring temp = rig.Property(L"TempFolder");
  const test::TempFolder folder;
  const std::wstring a = folder.MakeFolder(L"a");
  const std::wstring b = folder.MakeFolder(L"b");
  rig.SetProperty(L"QX_Base", folder.path());
  const struct {
    const wchar_t* download;
    const wchar_t* extract;
    std::wstring download_folder;
    std::wstring list;
  } cases[] = {
      {L"", L"", temp + package.product_code(), temp.substr(0, temp.size() - 1)},
      {L"", L"[QX_Base]\\a", a, a},
      {L"[QX_Base]\\a", L"", a, a},
      {L"[QX_Base]\\a", L"[QX_Base]\\a", a, a},
      {L"[QX_Base]\\a\\not yet", L"[QX_Base]\\b\\not yet", a + L"\\not yet", a + L"\x01" + b},
      // Letters are compared as they are.
      {L"[QX_Base]\\a", L"[QX_Base]\\A", a, a + L"\x01" + (folder / L"A")},
      {L"[QX_NotSet]", L"[QX_Base]\\b", L"", L"\x01" + b},
      {L"[QX_NotSet]", L"[QX_NotSet]", L"", L""},
  };
  for (const auto& [download, extract, download_folder, list] : cases) {
    CAPTURE(util::ToAnsi(download));
    CAPTURE(util::ToAnsi(extract));
    rig.SetProperty(L"QX_DOWNLOAD_DIR", download);
    rig.SetProperty(L"QX_EXTRACT_DIR", extract);
    rig.SetProperty(prereq::kFoldersProperty, L"");
    prereq::PrepareFolderList(rig.session());
    CHECK(prereq::DownloadFolder(rig.session()) == download_folder);
    CHECK(rig.Property(prereq::kFoldersProperty) == list);
  }
  rig.SetProperty(prereq::kFoldersProperty, L"C:\\set before");
  prereq::PrepareFolderList(rig.session());
  CHECK(rig.Property(prereq::kFoldersProperty) == L"C:\\set before");
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("files are listed in the order they came, repeated ones too") {
  TestPackage package;
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  for (const wchar_t* path : {L"C:\\one", L"C:\\two", L"C:\\one"}) {
    prereq::AppendToFileList(rig.session(), path);
  }
  CHECK(rig.Property(prereq::kFilesProperty) ==
        L"C:\\one\x01"
        L"C:\\two\x01"
        L"C:\\one");
  CHECK(rig.CountLeakedHandles() == 0);
}
