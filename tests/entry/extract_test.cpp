#include <doctest.h>

#include <optional>
#include <random>

#include "support/msi_session_rig.h"
#include "support/pipe_client.h"
#include "support/scripted_ui.h"
#include "support/setup_program.h"
#include "support/test_package.h"
#include "support/worker.h"
#include "util/ansi_text.h"
#include "util/os_family.h"
#include "util/text.h"

using test::kPipeDiskFull;
using test::kPipeFile;
using test::kPipeGroupStart;
using test::kPipeProgress;
using test::kPipeTotal;
using test::MsiSessionRig;
using test::PipeClient;
using test::ScriptedUi;
using test::SetupProgram;
using test::TempFolder;
using test::TestPackage;
using test::Worker;
using Texts = std::vector<std::wstring>;

namespace {

constexpr UINT kErrorRetryCancel = 0x01000005;

std::string OwnSuffix() { return util::ToDecimalAnsi(::GetCurrentProcessId()); }

// Every message of the installer in one text each: R reset, + increment, D action data, S action
// start, ? prompt.
Texts Shown(const ScriptedUi& ui) {
  Texts shown;
  for (const test::UiMessage& message : ui.messages()) {
    switch (message.type & 0xFF000000) {
      case INSTALLMESSAGE_PROGRESS:
        CHECK(message.fields.size() == 4);
        CHECK(message.Field(3) == L"0");
        shown.push_back((message.Field(1) == L"0" ? L"R" : L"+") + message.Field(2));
        break;
      case INSTALLMESSAGE_ACTIONSTART:
        if (message.Field(1) == L"QX_FindExeLzma") break;  // Sent by the installer.
        shown.push_back(L"S" + message.Field(1) + L"," + message.Field(2));
        break;
      case INSTALLMESSAGE_ACTIONDATA:
        CHECK(message.fields.size() == 5);
        shown.push_back(L"D" + message.Field(1));
        break;
      case INSTALLMESSAGE_INFO:  // The installer's own.
        break;
      default:
        CHECK(message.type == kErrorRetryCancel);
        shown.push_back(L"?" + message.Field(1) + L"," + message.Field(2) + L"," +
                        message.Field(3));
    }
  }
  return shown;
}

// A package of two packed prerequisites, a session on it, a user and a setup executable. The test
// itself speaks for the executable.
struct Extraction {
  Extraction() {
    package.AddPrerequisite({.name = L"First", .sequence = 1, .target = L"first.exe"});
    package.AddPrerequisite({.name = L"Second", .sequence = 4, .target = L"second.exe"});
    package.Close();
    rig.emplace(package);
    rig->SetProperty(L"QX_FilesInsideExe", L"1");
    rig->SetProperty(L"QX_EXTRACT_DIR", folder / L"out");
    rig->SetProperty(L"QX_SETUPEXEPATH", setup.path());
    ui.Clear();
  }

  // Runs the action while a client says what is given, and ends with "CLOSE". A text that begins
  // with "!" goes out without it and is not answered.
  void Run(const Texts& texts, UINT expected_result = 0) {
    answers.clear();
    const Worker client([&] {
      const PipeClient pipe(OwnSuffix());
      for (const std::wstring& text : texts) {
        if (text.starts_with(L'!')) {
          pipe.Say(text.substr(1));
        } else {
          answers.push_back(pipe.Ask(text));
        }
      }
      pipe.Say(L"CLOSE");
    });
    CHECK(rig->Call("ExtractPrereq") == expected_result);
    client.Join();
  }

  // What the installer was told after the announcement.
  [[nodiscard]] Texts ShownByClient() const {
    Texts shown = Shown(ui);
    REQUIRE(shown.size() >= 2);
    CHECK(shown[0] == L"SQX_ExtractPrereq,Unpacking prerequisites");
    CHECK(shown[1] == L"R4096");
    return {shown.begin() + 2, shown.end()};
  }

  TestPackage package;
  TempFolder folder;
  SetupProgram setup{folder, L"my setup.exe"};
  ScriptedUi ui;
  std::optional<MsiSessionRig> rig;
  Texts answers;
};

}  // namespace

TEST_CASE("the setup executable is asked for what is needed and not there yet") {
  TestPackage package;
  package.AddFeature(L"Disabled", 0, 0);
  // Out of order; an empty condition selects.
  package.AddPrerequisite({.name = L"fourth", .sequence = 4, .target = L"4.exe"});
  package.AddPrerequisite({.name = L"first", .sequence = 1, .missing = L"1=1", .target = L"1.exe"});
  package.AddPrerequisite({.name = L"post", .sequence = 5, .target = L"5.exe", .options = L"p"});
  package.AddPrerequisite({.name = L"bad condition", .sequence = 9, .missing = L"1 ! 2 ("});
  package.AddPrerequisite({.name = L"no location", .sequence = 11, .location = L""});
  package.AddPrerequisite({.name = L"before all", .sequence = -200, .target = L"-200.exe"});
  // None of these.
  package.AddPrerequisite({.name = L"there", .sequence = 2, .target = L"there.exe"});
  package.AddPrerequisite({.name = L"installed", .sequence = 3, .missing = L"1=2"});
  package.AddPrerequisite({.name = L"foreign", .sequence = 6, .languages = L"1"});
  package.AddPrerequisite({.name = L"unwanted", .sequence = 7, .feature = L"Disabled"});
  package.AddPrerequisite({.name = L"downloaded", .sequence = 8, .location = L"1", .url = L"u"});
  package.AddPrerequisite({.name = L"elsewhere", .sequence = 10, .location = L"2"});
  package.Close();
  const TempFolder folder;
  folder.Write(L"out\\there.exe", "x");
  const SetupProgram setup(folder, L"my setup.exe");
  ScriptedUi ui;
  MsiSessionRig rig(package);
  rig.SetProperty(L"QX_FilesInsideExe", L"yes");
  rig.SetProperty(L"BASE", folder.path());
  rig.SetProperty(L"QX_EXTRACT_DIR", L"[BASE]\\out");
  rig.SetProperty(L"QX_SETUPEXEPATH", setup.path());
  ui.Clear();
  {
    const Worker client([] { PipeClient(OwnSuffix()).Say(L"CLOSE"); });
    CHECK(rig.Call("ExtractPrereq") == 0);
  }
  CHECK(Shown(ui) == Texts{L"SQX_ExtractPrereq,Unpacking prerequisites", L"R4096"});
  CHECK(rig.Property(L"QX_PREREQDIRS") == folder / L"out");
  CHECK(rig.Property(L"QX_PREREQFILES").empty());
  // It is not waited for; its log may come a little later than the end of the action.
  std::vector<test::SetupRun> runs;
  for (int i = 0; i < 500 && (runs = setup.Runs()).empty(); ++i) ::Sleep(10);
  REQUIRE(runs.size() == 1);
  CHECK(runs[0].arguments == L"/groupsextract:-100;101;104;105;109;111; /out:\"" + folder / L"out" +
                                 L"\" /callbackid:" + util::ToDecimal(::GetCurrentProcessId()));
  CHECK(runs[0].hidden);
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("nothing is started when nothing is packed, needed or found") {
  Extraction extraction;
  const MsiSessionRig& rig = *extraction.rig;
  const Texts announced = {L"SQX_ExtractPrereq,Unpacking prerequisites"};
  Texts expected;
  SUBCASE("nothing is packed") {
    rig.SetProperty(L"QX_FilesInsideExe", L"");
    CHECK(rig.Call("ExtractPrereq") == 0);
    CHECK(rig.Property(L"QX_PREREQDIRS").empty());
  }
  SUBCASE("everything is there") {
    extraction.folder.Write(L"out\\first.exe", "x");
    extraction.folder.Write(L"out\\second.exe", "");
    CHECK(rig.Call("ExtractPrereq") == 0);
    CHECK_FALSE(rig.Property(L"QX_PREREQDIRS").empty());
    expected = announced;
  }
  SUBCASE("nobody knows the setup executable") {
    rig.SetProperty(L"QX_SETUPEXEPATH", L"");
    CHECK(rig.Call("ExtractPrereq") == 0);
    expected = {announced[0], L"R4096"};
  }
  SUBCASE("it does not start") {
    rig.SetProperty(L"QX_SETUPEXEPATH", extraction.folder / L"gone.exe");
    CHECK(rig.Call("ExtractPrereq") == 0);
    expected = {announced[0], L"R4096"};
  }
  CHECK(Shown(extraction.ui) == expected);
  CHECK(extraction.setup.Runs().empty());
  CHECK(extraction.rig->CountLeakedHandles() == 0);
}

TEST_CASE("on the older family a command line that does not fit starts nothing") {
  if (util::IsNtFamily()) return;
  Extraction extraction;
  const std::wstring& folder = extraction.folder.path();
  const size_t rest =
      std::wstring(L"/groupsextract:101;104; /out:\"\" /callbackid:").size() + OwnSuffix().size();
  const auto call_with_arguments_of = [&](size_t length) {
    const std::wstring out = folder + L"\\" + std::wstring(length - rest - folder.size() - 1, L'o');
    extraction.rig->SetProperty(L"QX_EXTRACT_DIR", out);
  };
  call_with_arguments_of(264);
  CHECK(extraction.rig->Call("ExtractPrereq") == 0);
  call_with_arguments_of(5000);
  CHECK(extraction.rig->Call("ExtractPrereq") == 0);
  extraction.rig->SetProperty(L"QX_EXTRACT_DIR", folder);
  extraction.rig->SetProperty(L"QX_SETUPEXEPATH", folder + std::wstring(264, L'\\') + L"x.exe");
  CHECK(extraction.rig->Call("ExtractPrereq") == 0);
  CHECK(extraction.setup.Runs().empty());
  extraction.rig->SetProperty(L"QX_SETUPEXEPATH", extraction.setup.path());
  call_with_arguments_of(263);
  extraction.Run({});
  for (int i = 0; i < 500 && extraction.setup.Runs().empty(); ++i) ::Sleep(10);
  CHECK(extraction.setup.Runs().size() == 1);
}

TEST_CASE("a package that looks for its setup executable itself is asked to") {
  TestPackage package;
  const TempFolder folder;
  const SetupProgram setup(folder, L"setup.exe");
  package.AddPrerequisite({.name = L"First", .target = L"first.exe"});
  package.Execute(
      L"CREATE TABLE `CustomAction` (`Action` CHAR(72) NOT NULL, `Type` SHORT NOT NULL, `Source` "
      L"CHAR(72), `Target` CHAR(255) PRIMARY KEY `Action`)");
  package.Execute(
      L"INSERT INTO `CustomAction` (`Action`,`Type`,`Source`,`Target`) VALUES "
      L"('QX_FindExeLzma',51,'QX_SETUPEXEPATH','" +
      setup.path() + L"')");
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  rig.SetProperty(L"QX_FilesInsideExe", L"1");
  rig.SetProperty(L"QX_EXTRACT_DIR", folder.path());
  std::wstring answer;
  {
    const Worker client([&] {
      const PipeClient pipe(OwnSuffix());
      answer = pipe.Ask(L"1");
      (void)pipe.Ask(L"x");
      pipe.Say(L"CLOSE");
    });
    CHECK(rig.Call("ExtractPrereq") == 0);
  }
  CHECK(answer == L"OK");
  CHECK(rig.Property(L"QX_SETUPEXEPATH") == setup.path());
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("every message gets its answer and is shown") {
  Extraction extraction;
  extraction.rig->SetProperty(L"QX_PREREQFILES", L"C:\\earlier");
  extraction.Run({
      kPipeTotal,
      L"8192",
      L"0",  // Two bytes a tick.
      kPipeGroupStart,
      L"101",  // One answer for the group.
      kPipeProgress,
      L"2047",
      L"0",  //
      kPipeProgress,
      L"2048",
      L"0",  // No tick more:
      kPipeProgress,
      L"2049",
      L"0",  // a tick begun is none.
      kPipeProgress,
      L"100",
      L"0",  // Back.
      kPipeFile,
      L"C:\\a\x017C.exe",  //
      kPipeFile,
      L"\\\\?\\C:\\b",  // As it is.
      kPipeGroupStart,
      L"104",  //
      kPipeGroupStart,
      L"102",  // Nobody asked for it,
      kPipeGroupStart,
      L"99999999999",  // it is made up,
      kPipeGroupStart,
      L"0",  //
      L"7",
      L"anything",  // Kinds that nobody knows.
      L"junk",
      L"CLOSE",  // No end where a text is due.
      L"-1",
      kPipeProgress,  //
      kPipeFile,
      L"CLOSE",  //
      // The end in place of a number is not answered.
      kPipeTotal,
      L"!CLOSE",
      kPipeTotal,
      L"1",
      L"!CLOSE",  //
      kPipeProgress,
      L"!CLOSE",
      kPipeGroupStart,
      L"!CLOSE",  //
      kPipeDiskFull,
      L"C:\\",
      L"!CLOSE",
      kPipeProgress,
      L"6000",
      L"0",
  });
  CHECK(extraction.answers == Texts(extraction.answers.size(), L"OK"));
  // The bar is filled from where the last increment left it.
  CHECK(extraction.ShownByClient() ==
        Texts{L"R4096", L"DFirst", L"+1023", L"+1", L"DSecond", L"+1976", L"+1096"});
  CHECK(extraction.rig->Property(L"QX_PREREQFILES") ==
        L"C:\\earlier\x01"
        L"C:\\a\x017C.exe\x01\\\\?\\C:\\b\x01"
        L"CLOSE");
  CHECK(extraction.rig->CountLeakedHandles() == 0);
}

TEST_CASE("no number of bytes does more than move the bar, and that never backwards") {
  const struct {
    std::string name;
    Texts texts;
    Texts shown;
  } cases[] = {
      {"more than 4 GiB",
       {kPipeTotal, L"0", L"2", kPipeProgress, L"0", L"1"},
       {L"R4096", L"+2048", L"+2048"}},
      // A low part beyond 31 bits takes one from the high part.
      {"5 GiB, well split",
       {kPipeTotal, L"1073741824", L"1", kPipeProgress, L"-2147483648", L"1"},
       {L"R4096", L"+1638", L"+2458"}},
      {"3 GiB, wrongly split", {kPipeTotal, L"3221225472", L"0"}, {L"R4096"}},
      {"no total", {kPipeProgress, L"100", L"0"}, {}},
      {"a total of 0",
       {kPipeTotal, L"0", L"0", kPipeProgress, L"0", L"0", kPipeProgress, L"5", L"0"},
       {L"R4096"}},
      {"a total below 0", {kPipeTotal, L"-4096", L"0", kPipeProgress, L"1", L"0"}, {L"R4096"}},
      {"both below 0",
       {kPipeTotal, L"-8192", L"0", kPipeProgress, L"-200", L"0"},
       {L"R4096", L"+100"}},
      {"progress below 0",
       {kPipeTotal, L"4096", L"0", kPipeProgress, L"-5", L"0"},
       {L"R4096", L"+4096"}},
      {"twice the total",
       {kPipeTotal, L"4096", L"0", kPipeProgress, L"8192", L"0"},
       {L"R4096", L"+8192"}},
      {"beyond all ticks",
       {kPipeTotal, L"1", L"0", kPipeProgress, L"-1", L"2147483647", kPipeProgress, L"-1",
        L"2147483647"},
       {L"R4096", L"+2147483647"}},
      // The ticks already shown count on.
      {"a second total",
       {kPipeTotal, L"4096", L"0", kPipeProgress, L"100", L"0", kPipeTotal, L"8192", L"0",
        kPipeProgress, L"100", L"0", kPipeProgress, L"202", L"0"},
       {L"R4096", L"+100", L"R4096", L"+1", L"+3995"}},
  };
  for (const auto& [name, texts, shown] : cases) {
    CAPTURE(name);
    Extraction extraction;
    extraction.Run(texts);
    CHECK(extraction.answers == Texts(texts.size(), L"OK"));
    CHECK(extraction.ShownByClient() == shown);
  }
}

TEST_CASE(
    "cancel is passed on with the progress and fails the action while it is the last answer") {
  const struct {
    std::string name;
    std::vector<int> progress_answers;  // The first is that to the reset of the selection.
    Texts texts;
    Texts answers;  // The last of each message.
    UINT result;
  } cases[] = {
      {"at the selection", {IDCANCEL}, {kPipeTotal, L"4", L"0"}, {L"OK"}, 0},
      {"at the total, and then not any more",
       {IDOK, IDCANCEL, IDOK},
       {kPipeTotal, L"4", L"0", kPipeProgress, L"0", L"0", kPipeProgress, L"1", L"0"},
       {L"CLOSE", L"CLOSE", L"OK"},
       0},
      {"at the total, and the bar is full",
       {IDOK, IDCANCEL, IDCANCEL, IDCANCEL},
       {kPipeTotal, L"4", L"0", kPipeProgress, L"4", L"0", kPipeGroupStart, L"101", kPipeFile,
        L"x"},
       {L"CLOSE", L"CLOSE", L"OK", L"OK"},
       1},
      {"at a step",
       {IDOK, IDOK, IDCANCEL},
       {kPipeTotal, L"4", L"0", kPipeProgress, L"4", L"0", kPipeProgress, L"4", L"0"},
       {L"OK", L"CLOSE", L"CLOSE"},
       1},
      {"at a step, and the fill is answered otherwise",
       {IDOK, IDOK, IDCANCEL, IDOK},
       {kPipeTotal, L"4", L"0", kPipeProgress, L"2", L"0", kPipeProgress, L"1", L"0"},
       {L"OK", L"CLOSE", L"CLOSE"},
       0},
      {"at the fill", {IDOK, IDOK, IDCANCEL}, {kPipeTotal, L"4", L"0"}, {L"OK"}, 1},
      {"no total, so no fill", {IDOK, IDCANCEL}, {kPipeTotal, L"0", L"0"}, {L"CLOSE"}, 1},
  };
  for (const auto& [name, progress_answers, texts, answers, result] : cases) {
    CAPTURE(name);
    Extraction extraction;
    for (const int answer : progress_answers) {
      extraction.ui.Answer(INSTALLMESSAGE_PROGRESS, answer);
    }
    extraction.ui.Answer(INSTALLMESSAGE_ACTIONDATA, IDCANCEL);
    extraction.Run(texts, result);
    Texts last_answers;
    for (size_t i = 0; i < texts.size(); ++i) {
      const bool last = i + 1 == texts.size() || texts[i + 1].size() == 9;
      if (last) last_answers.push_back(extraction.answers[i]);
    }
    CHECK(last_answers == answers);
    CHECK(extraction.rig->CountLeakedHandles() == 0);
  }
}

TEST_CASE("lack of disk space is asked about until there is enough or the user gives up") {
  const std::wstring drive = test::ProgramFolder().substr(0, 3);
  ULARGE_INTEGER free_bytes;
  REQUIRE(::GetDiskFreeSpaceExW(drive.c_str(), &free_bytes, nullptr, nullptr));
  const struct {
    std::string name;
    std::wstring path;
    const wchar_t* low;
    const wchar_t* high;
    std::vector<int> prompt_answers;
    size_t prompts;
    std::wstring shown_path;
    const wchar_t* shown_kb;
    const wchar_t* answer;
  } cases[] = {
      {"enough by now", drive + L"x", L"2047", L"0", {IDRETRY}, 1, drive + L"x", L"1", L"OK"},
      {"a long path",
       L"\\\\?\\" + drive + L"x",
       L"1024",
       L"0",
       {IDRETRY},
       1,
       drive + L"x",
       L"1",
       L"OK"},
      {"given up", drive, L"0", L"1", {IDCANCEL}, 1, drive, L"4194304", L"CLOSE"},
      {"nobody there", drive, L"0", L"1", {}, 1, drive, L"4194304", L"CLOSE"},
      {"another button", drive, L"0", L"1", {IDOK}, 1, drive, L"4194304", L"CLOSE"},
      {"never enough",
       drive,
       L"0",
       L"1048576",
       {IDRETRY, IDRETRY, IDCANCEL},
       3,
       drive,
       L"0",
       L"CLOSE"},
      // Of the kilobytes, 32 bits are shown.
      {"8 TiB and 3 GiB",
       drive,
       L"-1073741824",
       L"2049",
       {IDCANCEL},
       1,
       drive,
       L"3145728",
       L"CLOSE"},
      {"below 0", drive, L"-5", L"0", {IDRETRY}, 1, drive, L"0", L"OK"},
      {"no drive", L"Q?", L"1", L"0", {IDRETRY, IDCANCEL}, 2, L"Q?", L"0", L"CLOSE"},
      {"no path", L"", L"0", L"0", {IDRETRY}, 1, L"", L"0", L"OK"},
      {"prefix alone", L"\\\\?\\", L"1", L"0", {IDCANCEL}, 1, L"", L"0", L"CLOSE"},
  };
  for (const auto& one : cases) {
    CAPTURE(one.name);
    Extraction extraction;
    for (const int answer : one.prompt_answers) {
      extraction.ui.Answer(INSTALLMESSAGE_ERROR, answer);
    }
    extraction.Run({kPipeDiskFull, one.path, one.low, one.high});
    CHECK(extraction.answers == Texts{L"OK", L"OK", L"OK", one.answer});
    CHECK(extraction.ShownByClient() ==
          Texts(one.prompts, L"?1601," + one.shown_path + L"," + one.shown_kb));
    for (const test::UiMessage& prompt : extraction.ui.Of(INSTALLMESSAGE_ERROR)) {
      const auto shown = static_cast<double>(util::ParseDecimal<uint64_t>(prompt.Field(4)));
      if (one.shown_path.starts_with(drive)) {
        CHECK(shown * 1024 ==
              doctest::Approx(static_cast<double>(free_bytes.QuadPart)).epsilon(0.2));
      } else {
        CHECK(prompt.Field(4) == L"0");
      }
    }
    CHECK(extraction.rig->CountLeakedHandles() == 0);
  }
}

TEST_CASE("a client that talks at random is answered by the rules and does no harm") {
  Extraction extraction;
  Texts recorded;
  int wrong = 0;
  DWORD handles_before = 0;
  const Worker client([&] {
    const PipeClient pipe(OwnSuffix());
    std::mt19937 random(20240607);
    const auto below = [&](unsigned limit) { return random() % limit; };
    const auto say_junk = [&] {
      std::string bytes(below(below(50) == 0 ? 32656 : 40) + 1, '\0');
      for (char& byte : bytes) byte = static_cast<char>(random());
      pipe.SayBytes(bytes.data(), bytes.size());
    };
    const auto expect = [&](bool refusal_allowed) {
      const std::wstring answer = pipe.Hear();
      if (answer != L"OK" && !(refusal_allowed && answer == L"CLOSE")) ++wrong;
    };
    const auto say_number = [&] {
      if (below(3) == 0) return say_junk();
      const auto value = static_cast<int32_t>(random() >> below(32));
      pipe.Say(util::ToSignedDecimal(below(2) ? value : -(value / 2)));
    };
    // False when it ended the number early, which nobody answers.
    const auto say_long_number = [&](bool refusal_allowed) {
      for (const bool is_last : {false, true}) {
        if (below(20) == 0) return pipe.Say(L"CLOSE");
        say_number();
        expect(is_last && refusal_allowed);
      }
    };
    // Junk is a number of 0 or, once in a while, a few digits: no kind with a rule of its own.
    for (int i = 0; i < 10000; ++i) {
      switch (below(7)) {
        case 0:
          if (pipe.Ask(kPipeTotal) != L"OK") ++wrong;
          say_long_number(true);
          break;
        case 1:
          if (pipe.Ask(kPipeProgress) != L"OK") ++wrong;
          say_long_number(true);
          break;
        case 2:
          if (pipe.Ask(kPipeDiskFull) != L"OK") ++wrong;
          say_junk();
          expect(false);
          say_long_number(true);
          break;
        case 3:
          if (pipe.Ask(kPipeGroupStart) != L"OK") ++wrong;
          say_number();
          expect(false);
          break;
        case 4: {
          if (pipe.Ask(kPipeFile) != L"OK") ++wrong;
          recorded.push_back(L"C:\\" + util::ToDecimal(random()));
          if (pipe.Ask(recorded.back()) != L"OK") ++wrong;
          break;
        }
        default:
          say_junk();
          expect(false);
          say_junk();
          expect(false);
      }
    }
    pipe.Say(L"CLOSE");
  });
  ::GetProcessHandleCount(::GetCurrentProcess(), &handles_before);
  const UINT result = extraction.rig->Call("ExtractPrereq");
  client.Join();
  DWORD handles_after = 0;
  ::GetProcessHandleCount(::GetCurrentProcess(), &handles_after);
  CHECK(result == 0);  // Nobody cancelled.
  CHECK(wrong == 0);
  CHECK(handles_after <= handles_before);
  const std::wstring files = extraction.rig->Property(L"QX_PREREQFILES");
  CHECK(util::Split(files, L'\x01') == recorded);
  CHECK(recorded.size() > 1000);
  CHECK(extraction.rig->CountLeakedHandles() == 0);
}
