#include "prereq/resume.h"

#include <windows.h>

#include <doctest.h>

#include "support/action_fixture.h"
#include "support/run_value.h"
#include "util/os_family.h"
#include "util/scheduler.h"
#include "util/scope_exit.h"

using prereq::Registration;

namespace {

// Wine refuses the name of the job of the first interface, so an answer takes the place of it.
template <HRESULT answer>
HRESULT Answer(const util::ScheduledJob&) {
  return answer;
}

LONGLONG Ticks(const SYSTEMTIME& time) {
  FILETIME ticks = {};
  REQUIRE(::SystemTimeToFileTime(&time, &ticks));
  return static_cast<LONGLONG>(ticks.dwHighDateTime) << 32 | ticks.dwLowDateTime;
}

}  // namespace

TEST_CASE("only a user who is denied the first interface gets a job of the second") {
  const struct {
    const wchar_t* code;
    const wchar_t* program;
    HRESULT (*first)(const util::ScheduledJob&);
    Registration made;
  } rows[] = {{L"{A}", L"C:\\x.exe", &Answer<S_OK>, Registration::kJob},
              {L"{A}", L"C:\\x.exe", &Answer<E_INVALIDARG>, Registration::kRunValue},
              {L"{A}", L"C:\\x.exe", &Answer<E_ACCESSDENIED>, Registration::kLogonTask},
              {L"", L"C:\\x.exe", &Answer<S_OK>, Registration::kNone},
              {L"{A}", L"", &Answer<S_OK>, Registration::kNone}};
  if (!util::IsNtFamily()) return;
  for (const auto& row : rows) {
    CAPTURE(row.first(util::ScheduledJob()));
    CAPTURE(static_cast<int>(row.made));
    const util::ScopeExit remove([&] { test::DeleteRunValue(row.code); });
    // The delimiter of the carried lists has no place in XML.
    CHECK(prereq::RegisterResumeJob(row.code,
                                    {row.program,
                                     L"QX_PREREQFILES=\"a\x01"
                                     L"b\""},
                                    L"domain\\user", row.first) == row.made);
    CHECK((test::ReadRunValue(row.code) != test::kNoRunValue) ==
          (row.made == Registration::kRunValue));
    CHECK(util::DeleteLogonTask(L"{A}") == (row.made == Registration::kLogonTask));
  }
}

TEST_CASE("the job counts from now on by the clock on the wall") {
  SYSTEMTIME local = {};
  ::GetLocalTime(&local);
  const util::ScheduledJob job = prereq::ResumeJob(L"{A}", {}, L"");
  CHECK(job.name == L"{A}.job");
  constexpr LONGLONG kMinute = 60 * 10000000LL;
  CHECK(Ticks(job.start) - Ticks(local) < kMinute);
  CHECK(Ticks(job.start) >= Ticks(local));
}

TEST_CASE("what the installer does not say starts nothing and is no choice") {
  // No session answers at all.
  const msi::InstallerSession session(0);
  const prereq::ResumeCommand command = prereq::BuildResumeCommand(session);
  CHECK(command.program.empty());
}
