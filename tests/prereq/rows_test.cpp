#include "prereq/rows.h"

#include <doctest.h>

#include "support/make_row.h"
#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/test_package.h"
#include "util/text.h"

using test::MakeRow;

TEST_CASE("the file behind a URL is named by what follows the last separator, at most 30 letters") {
  const struct {
    const wchar_t* url;
    const wchar_t* name;
  } cases[] = {
      {L"http://host/dir/setup.exe", L"setup.exe"},
      {L"http://host/get?file=setup.exe", L"file=setup.exe"},
      {L"setup.exe", L"setup.exe"},
      {L"http://host/dir/", L""},
      {L"", L""},
      {L"a\\b", L"b"},
      {L"a:b", L"b"},
      {L"a*b", L"b"},
      {L"a\"b", L"b"},
      {L"a<b", L"b"},
      {L"a>b", L"b"},
      {L"a|b", L"b"},
      {L"a;b=%c#d", L"a;b=%c#d"},
      {L"http://h/123456789012345678901234567890", L"123456789012345678901234567890"},
      {L"http://h/x123456789012345678901234567890", L"123456789012345678901234567890"},
      {L"http://h/abcdefghij123456789012345678901234567890", L"123456789012345678901234567890"},
  };
  for (const auto& [url, name] : cases) {
    CAPTURE(util::ToAnsi(url));
    CHECK(prereq::FileNameFromUrl(url) == name);
  }
}

TEST_CASE("a name without a full stop gives way to what follows the question mark of the target") {
  const struct {
    const wchar_t* url;
    const wchar_t* target;
    const wchar_t* name;
  } cases[] = {
      {L"http://h/get", L"id?setup.exe", L"setup.exe"},
      {L"http://h/get", L"id?a?b.exe", L"a?b.exe"},
      {L"http://h/get", L"id?", L""},
      {L"http://h/get", L"setup.exe", L"get"},
      {L"http://h/get", L"", L"get"},
      {L"http://h/get.exe", L"id?setup.exe", L"get.exe"},
      {L"http://h.com/get", L"id?setup.exe", L"setup.exe"},
  };
  for (const auto& [url, target, name] : cases) {
    CAPTURE(util::ToAnsi(url));
    CAPTURE(util::ToAnsi(target));
    const auto row =
        MakeRow({{L"SetupFileUrl", url}, {L"TargetName", target}, {L"Location", L"1"}});
    CHECK(prereq::SetupFileName(row) == name);
    // Only a downloaded file has its name from the URL.
    CHECK(prereq::SetupFileName(MakeRow(
              {{L"SetupFileUrl", url}, {L"TargetName", target}, {L"Location", L"0"}})) == target);
  }
}

TEST_CASE("a language is a whole piece of the list") {
  const std::wstring own = util::ToDecimal(::GetSystemDefaultLangID());
  const struct {
    std::wstring list;
    bool matches;
  } cases[] = {
      {L"", true},
      {own, true},
      {L"1;" + own, true},
      {own + L";1", true},
      {L";" + own + L";", true},
      {L"1; " + own, false},
      {own + L" ;1", false},
      {L"0" + own, false},
      {own + L"0", false},
      {own.substr(1), false},
      {L"1," + own, false},
      {L";", false},
      {L" ", false},
  };
  for (const auto& [list, matches] : cases) {
    CAPTURE(util::ToAnsi(list));
    CHECK(prereq::LanguageMatches(list) == matches);
  }
}

TEST_CASE("a feature qualifies by what is asked of it, and as it is only by request") {
  const int states[] = {-7, -6, -5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5};
  for (const int installed : states) {
    for (const int action : states) {
      CAPTURE(installed);
      CAPTURE(action);
      const bool qualifies =
          action == 3 || action == 4 || (action == 5 && (installed == 3 || installed == 4));
      CHECK(prereq::FeatureQualifies(static_cast<INSTALLSTATE>(installed),
                                     static_cast<INSTALLSTATE>(action)) == qualifies);
    }
  }
}

TEST_CASE("an option is its small letter anywhere in the cell") {
  for (const wchar_t* options : {L"m", L"pm", L"x m y"}) {
    CHECK(prereq::HasOption(MakeRow({{L"Options", options}}), prereq::kMandatoryOption));
  }
  for (const wchar_t* options : {L"", L"M", L"pn"}) {
    CHECK_FALSE(prereq::HasOption(MakeRow({{L"Options", options}}), prereq::kMandatoryOption));
  }
  CHECK_FALSE(prereq::HasOption(MakeRow({}), prereq::kPostInstallOption));
}

TEST_CASE("the setup file lies where location and properties say") {
  test::TestPackage package;
  package.Close();
  test::ScriptedUi ui;
  test::MsiSessionRig rig(package);
  rig.SetProperty(L"QX_Base", L"C:\\base\\");
  // Set in turn: QX_SETUPEXEPATH, SourceDir, QX_FilesInsideExe, QX_EXTRACT_DIR, QX_DOWNLOAD_DIR.
  const struct {
    const wchar_t* location;
    const wchar_t* properties[5];
    const wchar_t* path;
  } cases[] = {
      {L"0", {L"D:\\a b\\setup.exe", L"E:\\s\\", L"", L"", L""}, L"D:\\a b\\target.exe"},
      {L"0", {L"D:\\setup.exe", L"E:\\s\\", L"", L"C:\\x", L""}, L"D:\\target.exe"},
      {L"0", {L"\\\\?\\D:\\a\\s.exe", L"", L"", L"", L""}, L"\\\\?\\D:\\a\\target.exe"},
      {L"0", {L"", L"E:\\s\\", L"", L"", L""}, L"E:\\s\\target.exe"},
      {L"0", {L"", L"E:\\s", L"", L"", L""}, L"E:\\s\\target.exe"},
      {L"0", {L"D:\\a\\setup.exe", L"", L"1", L"[QX_Base]x", L""}, L"C:\\base\\x\\target.exe"},
      {L"0", {L"D:\\a\\setup.exe", L"", L"0", L"[QX_Base]", L""}, L"C:\\base\\target.exe"},
      {L"", {L"D:\\a\\setup.exe", L"", L"", L"", L""}, L"D:\\a\\target.exe"},
      {L"1", {L"D:\\a\\setup.exe", L"", L"1", L"C:\\x", L"[QX_Base]d"}, L"C:\\base\\d\\file.exe"},
      {L"1", {L"D:\\a\\setup.exe", L"", L"", L"C:\\x", L""}, L"C:\\x\\file.exe"},
      // No folder: not a file in the root of the current drive.
      {L"0", {L"", L"", L"", L"C:\\x", L"C:\\d"}, L""},
      {L"0", {L"\\setup.exe", L"E:\\s", L"", L"", L""}, L""},
      {L"0", {L"D:\\a\\setup.exe", L"E:\\s", L"1", L"", L"C:\\d"}, L""},
      {L"0", {L"D:\\a\\setup.exe", L"E:\\s", L"1", L"[QX_NotSet]", L""}, L""},
      {L"1", {L"D:\\a\\setup.exe", L"E:\\s", L"", L"C:\\x", L"[QX_NotSet]"}, L""},
      {L"2", {L"D:\\a\\setup.exe", L"E:\\s", L"1", L"C:\\x", L"C:\\d"}, L""},
      {L"-1", {L"D:\\a\\setup.exe", L"E:\\s", L"1", L"C:\\x", L"C:\\d"}, L""},
  };
  const wchar_t* const names[] = {L"QX_SETUPEXEPATH", L"SourceDir", L"QX_FilesInsideExe",
                                  L"QX_EXTRACT_DIR", L"QX_DOWNLOAD_DIR"};
  for (const auto& [location, properties, path] : cases) {
    CAPTURE(util::ToAnsi(location));
    CAPTURE(util::ToAnsi(path));
    for (size_t i = 0; i < std::size(names); ++i) rig.SetProperty(names[i], properties[i]);
    const auto row = MakeRow({{L"Location", location},
                              {L"SetupFileUrl", L"http://host/file.exe"},
                              {L"TargetName", L"target.exe"}});
    CHECK(prereq::SetupFilePath(rig.session(), row) == path);
  }
  CHECK(rig.CountLeakedHandles() == 0);
}
