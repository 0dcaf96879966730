#include <doctest.h>

#include <algorithm>

#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/setup_program.h"
#include "support/test_package.h"
#include "util/md5.h"
#include "util/os_family.h"
#include "util/text.h"

using test::MsiSessionRig;
using test::ScriptedUi;
using test::SetupProgram;
using test::TempFolder;
using test::TestPackage;
using Prompts = std::vector<ScriptedUi::Prompt>;
using Texts = std::vector<std::wstring>;

namespace {

constexpr UINT kWarningYesNo = 0x02010004;

// Makes setup files of location 0 lie in `folder`.
void PutSetupsInto(const MsiSessionRig& rig, const std::wstring& folder) {
  rig.SetProperty(L"QX_SETUPEXEPATH", folder + L"\\bootstrap.exe");
}

// Second fields of the progress increments.
Texts Increments(const ScriptedUi& ui) {
  Texts increments;
  for (const test::UiMessage& message : ui.Of(INSTALLMESSAGE_PROGRESS)) {
    if (message.Field(1) == L"2") increments.push_back(message.Field(2));
  }
  return increments;
}

// The kinds of all messages in order, one letter each.
std::string Kinds(const ScriptedUi& ui) {
  std::string kinds;
  for (const test::UiMessage& message : ui.messages()) {
    switch (message.type & 0xFF000000) {
      case INSTALLMESSAGE_ACTIONSTART:
        kinds += 'S';
        break;
      case INSTALLMESSAGE_ACTIONDATA:
        kinds += message.Field(2) == L" " ? 'd' : 'D';
        break;
      case INSTALLMESSAGE_PROGRESS:
        kinds += message.Field(1) == L"0" ? 'R' : 'P';
        break;
      case INSTALLMESSAGE_INFO:
        kinds += 'I';
        break;
      case INSTALLMESSAGE_ERROR:
        kinds += 'E';
        break;
      case INSTALLMESSAGE_WARNING:
        kinds += 'W';
        break;
      default:
        kinds += '?';
    }
  }
  return kinds;
}

}  // namespace

TEST_CASE("each pass runs its own rows in their order, told step by step") {
  TestPackage package;
  package.AddFeature(L"Disabled", 0, 0);
  // Added out of order; every setup logs under its own name.
  package.AddPrerequisite({.name = L"c", .sequence = 3, .target = L"c.exe", .arguments = L"third"});
  package.AddPrerequisite({.name = L"a",
                           .sequence = 1,
                           .target = L"a.exe",
                           .arguments = L"/n \"[ProductName]\" [QX_NotSet]exit=1603",
                           .options = L"m"});
  package.AddPrerequisite({.name = L"b", .sequence = 2, .missing = L"1=1", .target = L"b.exe"});
  package.AddPrerequisite({.name = L"p", .sequence = 0, .target = L"p.exe", .options = L"p"});
  package.AddPrerequisite({.name = L"q", .sequence = 4, .target = L"q.exe", .options = L"mp"});
  // Passed over by each of the tests in turn.
  package.AddPrerequisite({.name = L"present", .missing = L"1=0", .target = L"x.exe"});
  package.AddPrerequisite({.name = L"language", .target = L"x.exe", .languages = L"1"});
  package.AddPrerequisite({.name = L"feature", .target = L"x.exe", .feature = L"Disabled"});
  package.AddPrerequisite({.name = L"unknown", .target = L"x.exe", .feature = L"Unknown"});
  package.AddPrerequisite({.name = L"elsewhere", .location = L"2", .target = L"x.exe"});
  package.Close();
  const TempFolder folder;
  const SetupProgram a(folder, L"a.exe"), b(folder, L"b.exe"), c(folder, L"c.exe"),
      p(folder, L"p.exe"), q(folder, L"q.exe"), x(folder, L"x.exe");
  ScriptedUi ui;
  MsiSessionRig rig(package);
  PutSetupsInto(rig, folder.path());

  ui.Clear();
  CHECK(rig.Call("InstallPrereq") == 0);
  CHECK(a.Arguments() == Texts{L"/n \"Test product\" exit=1603"});
  CHECK(b.Arguments() == Texts{L""});
  CHECK(c.Arguments() == Texts{L"third"});
  CHECK(a.Runs()[0].folder == folder.path());
  CHECK_FALSE(a.Runs()[0].hidden);
  CHECK(p.Runs().empty());
  CHECK(q.Runs().empty());
  CHECK(x.Runs().empty());
  // "elsewhere" is named before it turns out to have no setup file.
  Texts data = ui.ActionData();
  CHECK(std::erase(data, L"elsewhere") == 1);
  CHECK(data == Texts{L"a", L"a done", L"b", L"b done", L"c", L"c done"});
  CHECK(Increments(ui) == Texts{L"1365", L"1365", L"1365"});
  for (const test::UiMessage& message : ui.Of(INSTALLMESSAGE_ACTIONDATA)) {
    CHECK(message.fields.size() == 5);
  }
  CHECK(ui.Prompts().empty());

  ui.Clear();
  CHECK(rig.Call("InstallPostPrereq") == 0);
  CHECK(p.Runs().size() == 1);
  CHECK(q.Runs().size() == 1);
  CHECK(a.Runs().size() == 1);
  CHECK(Kinds(ui) == "SRDPdDPd");
  CHECK(Increments(ui) == Texts{L"2048", L"2048"});
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("an absent setup file is named but not counted, checked or launched") {
  TestPackage package;
  package.AddPrerequisite({.name = L"absent", .target = L"absent.exe", .size = L"5", .md5 = L"0"});
  package.AddPrerequisite({.name = L"folder", .sequence = 2, .target = L"folder"});
  package.AddPrerequisite({.name = L"no name", .sequence = 3});
  package.AddPrerequisite({.name = L"there", .sequence = 4, .target = L"there.exe"});
  package.Close();
  const TempFolder folder;
  folder.MakeFolder(L"folder");
  ScriptedUi ui;
  MsiSessionRig rig(package);
  PutSetupsInto(rig, folder.path());
  ui.Clear();
  CHECK(rig.Call("InstallPrereq") == 0);
  CHECK(Kinds(ui) == "S");

  const SetupProgram there(folder, L"there.exe");
  ui.Clear();
  CHECK(rig.Call("InstallPrereq") == 0);
  CHECK(there.Runs().size() == 1);
  CHECK(Kinds(ui) == "SRDDDDPd");
  CHECK(Increments(ui) == Texts{L"4096"});
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("a wrong setup file is asked about before it is launched") {
  const TempFolder folder;
  TestPackage package;
  package.AddPrerequisite({.name = L"size", .sequence = 1, .target = L"a.exe", .size = L"7"});
  package.AddPrerequisite({.name = L"good", .sequence = 2, .target = L"b.exe"});
  package.AddPrerequisite(
      {.name = L"digest", .sequence = 3, .target = L"c.exe", .md5 = L"00", .options = L"m"});
  // A downloaded file was checked when it came.
  package.AddPrerequisite({.name = L"downloaded",
                           .sequence = 4,
                           .location = L"1",
                           .url = L"http://127.0.0.1/d.exe",
                           .target = L"x.exe",
                           .size = L"7",
                           .md5 = L"00"});
  package.Close();
  const SetupProgram a(folder, L"a.exe"), b(folder, L"b.exe"), c(folder, L"c.exe"),
      d(folder, L"loads\\d.exe");
  ScriptedUi ui;
  MsiSessionRig rig(package);
  PutSetupsInto(rig, folder.path());
  rig.SetProperty(L"QX_DOWNLOAD_DIR", folder / L"loads");
  const ScriptedUi::Prompt first = {4156, L"a.exe"};
  const ScriptedUi::Prompt second = {4156, L"c.exe"};
  const struct {
    std::vector<int> answers;
    UINT result;
    Prompts prompts;
    const char* kinds;
    size_t good_runs;
    size_t downloaded_runs;
  } cases[] = {
      {{IDYES, IDYES}, 0, {first, second}, "SRDWDPdDWDPd", 1, 1},
      {{IDYES, IDNO}, 2, {first, second}, "SRDWDPdDW", 1, 0},
      {{IDNO}, 2, {first}, "SRDW", 0, 0},
      {{}, 2, {first}, "SRDW", 0, 0},  // Nobody there to answer.
  };
  size_t good_runs = 0;
  size_t downloaded_runs = 0;
  for (const auto& [answers, result, prompts, kinds, good, downloaded] : cases) {
    CAPTURE(kinds);
    ui.Clear();
    for (const int answer : answers) ui.Answer(INSTALLMESSAGE_WARNING, answer);
    CHECK(rig.Call("InstallPrereq") == result);
    CHECK(ui.Prompts() == prompts);
    CHECK(Kinds(ui) == kinds);
    for (const test::UiMessage& message : ui.Of(INSTALLMESSAGE_WARNING)) {
      CHECK(message.type == kWarningYesNo);
      CHECK(message.fields.size() == 3);
    }
    CHECK(b.Runs().size() == (good_runs += good));
    CHECK(d.Runs().size() == (downloaded_runs += downloaded));
    CHECK(a.Runs().empty());
    CHECK(c.Runs().empty());
  }
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("right sizes and digests pass without a question") {
  const TempFolder folder;
  const SetupProgram setup(folder, L"setup.exe");
  const std::string content = test::ReadWholeFile(setup.path());
  util::Md5 md5;
  md5.Update(content.data(), content.size());
  std::wstring digest = util::ToWide(md5.Finish());
  std::wstring capitals = digest;
  for (wchar_t& letter : capitals) {
    if (letter >= L'a') letter = static_cast<wchar_t>(letter - L'a' + L'A');
  }
  const std::wstring size = util::ToDecimal(content.size());
  TestPackage package;
  package.AddPrerequisite({.name = L"1", .target = L"setup.exe", .size = size, .md5 = digest});
  package.AddPrerequisite({.name = L"2", .target = L"setup.exe", .md5 = capitals + L"x"});
  package.AddPrerequisite({.name = L"3", .target = L"setup.exe", .size = L"any"});
  package.AddPrerequisite({.name = L"4", .location = L"", .target = L"setup.exe", .size = size});
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  PutSetupsInto(rig, folder.path());
  CHECK(rig.Call("InstallPrereq") == 0);
  CHECK(ui.Prompts().empty());
  CHECK(setup.Runs().size() == 4);
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("setup files are found in every place, with blanks, letters and prefix in their path") {
  const struct {
    const wchar_t* name;
    bool in_code_page;
  } folders[] = {{L"plain", true},
                 {L"a folder, with (blanks) & more", true},
                 {L"caf\u00E9 d\u00E9j\u00E0", true},
                 {L"\u65E5\u672C", false}};
  for (const auto& [name, in_code_page] : folders) {
    // The older family's calls do not reach letters outside its code page.
    if (!in_code_page && !util::IsNtFamily()) continue;
    TestPackage package;
    package.AddPrerequisite({.name = L"packed", .target = L"packed setup.exe", .arguments = L"p"});
    package.AddPrerequisite({.name = L"loaded",
                             .location = L"1",
                             .url = L"http://127.0.0.1/x?loaded.exe",
                             .arguments = L"l"});
    package.Close();
    const TempFolder folder;
    const SetupProgram packed(folder, name + std::wstring(L"\\packed setup.exe"));
    const SetupProgram loaded(folder, name + std::wstring(L"\\loaded.exe"));
    ScriptedUi ui;
    MsiSessionRig rig(package);
    rig.SetProperty(L"QX_Base", folder.path());
    const std::wstring below_base = std::wstring(L"[QX_Base]\\") + name;
    // QX_SETUPEXEPATH, SourceDir, QX_FilesInsideExe, QX_EXTRACT_DIR, QX_DOWNLOAD_DIR.
    const std::wstring place = folder / name;
    const std::wstring properties[][5] = {
        {place + L"\\setup.exe", L"C:\\", L"", L"C:\\", below_base},
        {L"\\\\?\\" + place + L"\\setup.exe", L"", L"", L"", L"\\\\?\\" + place + L"\\"},
        {L"", place + L"\\", L"", below_base, L""},
        {L"C:\\setup.exe", L"C:\\", L"1", below_base, below_base},
        {L"C:\\setup.exe", L"C:\\", L"1", L"\\\\?\\" + below_base, L""},
    };
    for (size_t i = 0; i < std::size(properties); ++i) {
      CAPTURE(util::ToAnsi(name));
      CAPTURE(i);
      rig.SetProperty(L"QX_SETUPEXEPATH", properties[i][0]);
      rig.SetProperty(L"SourceDir", properties[i][1]);
      rig.SetProperty(L"QX_FilesInsideExe", properties[i][2]);
      rig.SetProperty(L"QX_EXTRACT_DIR", properties[i][3]);
      rig.SetProperty(L"QX_DOWNLOAD_DIR", properties[i][4]);
      CHECK(rig.Call("InstallPrereq") == 0);
      CHECK(packed.Arguments() == Texts(i + 1, L"p"));
      CHECK(loaded.Arguments() == Texts(i + 1, L"l"));
    }
    CHECK(rig.CountLeakedHandles() == 0);
  }
}

TEST_CASE("what a setup exits with does not matter") {
  TestPackage package;
  int sequence = 0;
  for (const wchar_t* code : {L"1", L"3010", L"1641", L"1602", L"4294967295", L"2"}) {
    package.AddPrerequisite({.name = code,
                             .sequence = ++sequence,
                             .target = L"setup.exe",
                             .arguments = std::wstring(L"exit=") + code,
                             .options = L"m"});
  }
  package.Close();
  const TempFolder folder;
  const SetupProgram setup(folder, L"setup.exe");
  ScriptedUi ui;
  MsiSessionRig rig(package);
  PutSetupsInto(rig, folder.path());
  ui.Clear();
  CHECK(rig.Call("InstallPrereq") == 0);
  CHECK(setup.Arguments() ==
        Texts{L"exit=1", L"exit=3010", L"exit=1641", L"exit=1602", L"exit=4294967295", L"exit=2"});
  CHECK(Kinds(ui) == "SRDPdDPdDPdDPdDPdDPd");
  CHECK(Increments(ui) == Texts(6, L"682"));
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("a setup that cannot be launched is told to the log, then to the user, and passed over") {
  TestPackage package;
  package.AddPrerequisite({.name = L"bad", .sequence = 1, .target = L"bad.exe"});
  package.AddPrerequisite({.name = L"good", .sequence = 2, .target = L"good.exe"});
  package.Close();
  const TempFolder folder;
  const std::wstring bad = folder.Write(L"bad.exe", "This is no program.");
  const SetupProgram good(folder, L"good.exe");
  ScriptedUi ui;
  MsiSessionRig rig(package);
  PutSetupsInto(rig, folder.path());
  ui.Clear();
  CHECK(rig.Call("InstallPrereq") == 0);
  CHECK(Kinds(ui) == "SRDPIEDPd");
  CHECK(good.Runs().size() == 1);
  const std::wstring text = L"Failed to launch file: " + bad + L" Error: 193";
  for (const INSTALLMESSAGE kind : {INSTALLMESSAGE_INFO, INSTALLMESSAGE_ERROR}) {
    REQUIRE(ui.Of(kind).size() == 1);
    const test::UiMessage message = ui.Of(kind)[0];
    CHECK(message.type == static_cast<UINT>(kind));
    REQUIRE(message.fields.size() == 2);
    CHECK(message.fields[0] == text);
  }
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("a Cancel on the bar is left to the installer: every row still runs") {
  TestPackage package;
  for (const wchar_t* name : {L"1", L"2"}) {
    package.AddPrerequisite({.name = name, .target = L"setup.exe"});
  }
  package.Close();
  const TempFolder folder;
  const SetupProgram setup(folder, L"setup.exe");
  ScriptedUi ui;
  MsiSessionRig rig(package);
  PutSetupsInto(rig, folder.path());
  ui.Answer(INSTALLMESSAGE_PROGRESS, IDCANCEL);
  ui.Answer(INSTALLMESSAGE_PROGRESS, IDCANCEL);
  CHECK(rig.Call("InstallPrereq") == 0);
  CHECK(setup.Runs().size() == 2);
  CHECK(rig.CountLeakedHandles() == 0);
}
