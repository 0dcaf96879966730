#include <windows.h>

#include <doctest.h>

#include "entry/scenario.h"
#include "prereq/resume.h"
#include "support/run_value.h"
#include "util/scheduler.h"
#include "util/scope_exit.h"

TEST_CASE("verification") { test::RunScenarios("entry/verify.txt"); }
TEST_CASE("installation") { test::RunScenarios("entry/install.txt"); }
TEST_CASE("downloads") { test::RunScenarios("entry/download.txt"); }
TEST_CASE("what the log is told") { test::RunScenarios("entry/log.txt"); }
TEST_CASE("unpacking") { test::RunScenarios("entry/extract.txt"); }
TEST_CASE("clean-up") { test::RunScenarios("entry/cleanup.txt"); }
TEST_CASE("the command for the next logon") { test::RunScenarios("entry/resume.txt"); }

TEST_CASE("without a session every action ends well and says nothing") {
  const test::ScriptedUi ui;
  for (const char* action : {"DownloadPrereq", "ExtractPrereq", "InstallPrereq",
                             "InstallPostPrereq", "VerifyPrereq", "CleanPrereq", "DoAppSearchEx"}) {
    CAPTURE(action);
    for (const MSIHANDLE handle : {MSIHANDLE{0}, MSIHANDLE{12345}}) {
      CHECK(test::CallExport(action, handle) == 0);
    }
  }
  CHECK(ui.messages().empty());
  CHECK(::MsiCloseAllHandles() == 0);
}

TEST_CASE(
    "the registration for the next logon is taken back, the Run value only along with a job") {
  // A name with ".job" at its end means the same job; Wine takes only the bare one.
  const auto job = [](const std::wstring& name) {
    util::ScheduledJob bare = prereq::ResumeJob(name, {L"C:\\x.exe", L"x"}, L"domain\\user");
    bare.name = name;
    return bare;
  };
  test::StartSchedulerService();
  const auto register_job = [&](const std::wstring& name) {
    return SUCCEEDED(util::CreateScheduledJob(job(name)));
  };
  enum { kNothing, kJob, kTask };
  struct Row {
    int job;
    bool has_value;
    bool answer;
    bool value_stays;
  };
  for (const Row& row :
       {Row{kJob, true, true, false}, Row{kTask, true, true, false}, Row{kJob, false, false, false},
        Row{kNothing, true, true, true}, Row{kNothing, false, true, false}}) {
    CAPTURE(row.job);
    CAPTURE(row.has_value);
    const std::wstring code = test::NewGuid();
    const util::ScopeExit remove([&] { test::DeleteRunValue(code); });
    if (row.job == kJob) REQUIRE(register_job(code));
    if (row.job == kTask) REQUIRE(util::CreateLogonTask(job(code)));
    if (row.has_value) test::WriteRunValue(code);
    CHECK(prereq::RemoveResumeRegistration(code) == row.answer);
    CHECK((test::ReadRunValue(code) != test::kNoRunValue) == row.value_stays);
    CHECK_FALSE(util::DeleteScheduledJob(code));
    CHECK_FALSE(util::DeleteLogonTask(code));
  }

  test::ActionFixture fixture;
  REQUIRE(register_job(fixture.package().product_code()));
  CHECK(fixture.Call("CleanPrereq") == ERROR_SUCCESS);
  CHECK_FALSE(util::DeleteScheduledJob(fixture.package().product_code()));
}
