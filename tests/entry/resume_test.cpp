#include <windows.h>
#include <mstask.h>

#include <doctest.h>

#include <cstring>
#include <string>

#include "prereq/resume.h"
#include "support/msi_session_rig.h"
#include "support/run_value.h"
#include "support/scripted_ui.h"
#include "support/setup_program.h"
#include "support/test_package.h"
#include "util/scheduler.h"
#include "util/scope_exit.h"
#include "util/text.h"

using test::MsiSessionRig;
using test::ScriptedUi;
using test::SetupProgram;
using test::TestPackage;

// Wine refuses the name of a job that ends in ".job", so what the install phase registers here is
// the `Run` value.
namespace {

void Replace(std::string* text, const char* mark, const std::wstring& value) {
  const size_t at = text->find(mark);
  if (at != std::string::npos) text->replace(at, std::strlen(mark), util::ToAnsi(value));
}

}  // namespace

TEST_CASE("the install phase registers the command before the first setup runs") {
  struct Row {
    const wchar_t* external_ui;
    const wchar_t* installed;
    std::string command;  // Marks in braces stand for the package's own values.
  };
  const std::string rest =
      "QX_RESUME=1 ADDLOCAL=\"Main\" INSTALLLEVEL=\"1\" ROOTDRIVE=\"C:\\\\\" TARGETDIR=\"C:\\\\\"";
  for (const Row& row :
       {Row{L"", L"", "C:\\windows\\system32\\msiexec.exe /i \"{package}\"" + rest},
        Row{L"", L"2026/01/01", "C:\\windows\\system32\\msiexec.exe /i {code}" + rest},
        Row{L"1", L"", "{folder}\\all in one.exe /i \"{package}\"" + rest},
        Row{L"1", L"2026/01/01", "{folder}\\all in one.exe /i \"{package}\"" + rest}}) {
    CAPTURE(row.command);
    TestPackage package;
    const SetupProgram setup(package.folder(), L"setup.exe");
    package.AddPrerequisite({.name = L"first", .missing = L"1=1", .target = L"setup.exe"});
    package.Close();
    ScriptedUi ui;
    MsiSessionRig rig(package);
    rig.SetProperty(L"QX_SETUPEXEPATH", package.folder() / L"all in one.exe");
    rig.SetProperty(L"QXEXTERNALUI", row.external_ui);
    rig.SetProperty(L"Installed", row.installed);
    rig.SetProperty(L"ADDLOCAL", L"Main");
    std::string value_at_first_row;
    ui.OnMessage([&](const test::UiMessage& message) {
      if (message.Field(1) == L"first" && value_at_first_row.empty()) {
        value_at_first_row = test::ReadRunValue(package.product_code());
      }
    });
    CHECK(rig.Call("InstallPrereq") == 0);
    CHECK(setup.Runs().size() == 1);

    std::string expected = row.command;
    Replace(&expected, "{package}", package.path());
    Replace(&expected, "{folder}", package.folder().path());
    Replace(&expected, "{code}", package.product_code());
    CHECK(test::ReadRunValue(package.product_code()) == expected);
    CHECK(value_at_first_row == expected);
    CHECK(rig.CountLeakedHandles() == 0);
  }
}

TEST_CASE("a phase with nothing to install registers nothing") {
  TestPackage package;
  package.AddPrerequisite({.name = L"absent", .missing = L"1=1", .target = L"no such setup.exe"});
  package.Close();
  MsiSessionRig rig(package);
  rig.SetProperty(L"QX_SETUPEXEPATH", package.folder() / L"all in one.exe");
  CHECK(rig.Call("InstallPrereq") == 0);
  CHECK(test::ReadRunValue(package.product_code()) == test::kNoRunValue);
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("removal takes the Run value only along with a job") {
  struct Row {
    bool has_job;
    bool has_value;
    bool answer;
    bool value_stays;
  };
  for (const Row& row : {Row{true, true, true, false}, Row{true, false, false, false},
                         Row{false, true, true, true}, Row{false, false, true, false}}) {
    CAPTURE(row.has_job);
    CAPTURE(row.has_value);
    const std::wstring code = test::NewGuid();
    const util::ScopeExit remove([&] { test::DeleteRunValue(code); });
    // A name with ".job" at its end means the same job; Wine takes only the bare one.
    SYSTEMTIME now = {};
    ::GetSystemTime(&now);
    if (row.has_job) {
      REQUIRE(util::CreateScheduledJob({.name = code,
                                        .program = L"C:\\x.exe",
                                        .arguments = L"",
                                        .account = L"domain\\user",
                                        .flags = TASK_FLAG_RUN_ONLY_IF_LOGGED_ON,
                                        .start = now}));
    }
    if (row.has_value) test::WriteRunValue(code);
    CHECK(prereq::RemoveResumeRegistration(code) == row.answer);
    CHECK((test::ReadRunValue(code) != test::kNoRunValue) == row.value_stays);
    CHECK_FALSE(util::DeleteScheduledJob(code));
  }
}
