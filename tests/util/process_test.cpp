#include "util/process.h"

#include <doctest.h>
#include <objbase.h>

#include "support/data_rows.h"
#include "support/open_handles.h"
#include "support/setup_program.h"
#include "util/scope_exit.h"
#include "util/text.h"
#include "util/unique_handle.h"

using test::SetupProgram;
using test::TempFolder;
using util::ToAnsi;

namespace {

// An event that a started program waits for or sets.
struct NamedEvent {
  explicit NamedEvent(const wchar_t* use)
      : name(std::wstring(L"prereq-") + use + std::to_wstring(::GetCurrentProcessId())),
        event(::CreateEventW(nullptr, TRUE, FALSE, name.c_str())) {}

  std::wstring name;
  util::UniqueKernelHandle event;
};

int g_right_starts = 0;

// In the shell's place: refuses, and counts what is asked as it should be.
template <typename Info>
BOOL WINAPI JudgeStart(Info* info) {
  constexpr ULONG kWanted = SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI;
  // Another kind of COM is refused where there is one.
  const HRESULT other = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (SUCCEEDED(other)) ::CoUninitialize();
  if ((info->fMask & kWanted) == kWanted && other == RPC_E_CHANGED_MODE) ++g_right_starts;
  ::SetLastError(ERROR_ACCESS_DENIED);
  return FALSE;
}

}  // namespace

TEST_CASE("a program is launched in its own folder and awaited for its exit code") {
  const TempFolder folder;
  for (const test::DataRow& row : test::ReadDataRows("util/launches.txt")) {
    const SetupProgram program(folder, row[0]);
    const bool hidden = row[2] == L"hidden";
    DWORD codes[] = {99, 99};
    REQUIRE(util::LaunchProgram(program.path(), row[1], &codes[0], hidden));
    REQUIRE(util::LaunchProgram(ToAnsi(program.path()), row.Ansi(1), &codes[1], hidden));
    const auto runs = program.Runs();
    REQUIRE(runs.size() == 2);
    for (int form = 0; form < 2; ++form) {
      CAPTURE(row.line);
      CAPTURE(form);
      CHECK(codes[form] == util::ParseDecimal<DWORD>(row[3]));
      CHECK(runs[form].arguments == row[1]);
      CHECK(runs[form].folder == program.path().substr(0, program.path().rfind(L'\\')));
      CHECK(runs[form].hidden == hidden);
    }
  }
}

TEST_CASE("the long-path prefix is left off the file and its folder is found") {
  const TempFolder folder;
  const SetupProgram program(folder, L"setup.exe");
  DWORD code = 0;
  REQUIRE(util::LaunchProgram(L"\\\\?\\" + program.path(), L"exit=5", &code, false));
  CHECK(code == 5);
  REQUIRE(program.Runs().size() == 1);
  CHECK(program.Runs()[0].program == program.path());
  // Windows shows the program the prefix in its working folder too, Wine takes it off.
  CHECK(program.Runs()[0].folder.ends_with(folder.path()));
}

TEST_CASE("without an exit code a launch does not wait, and a hidden start waits when asked") {
  const TempFolder folder;
  const SetupProgram program(folder, L"set up.exe");
  const NamedEvent go(L"go");
  const NamedEvent done(L"done");
  const std::wstring words = L"wait=" + go.name + L" done=" + done.name;
  SUBCASE("launch") { REQUIRE(util::LaunchProgram(program.path(), words, nullptr, false)); }
  SUBCASE("hidden start, wide") { REQUIRE(util::StartHidden(program.path(), words, false)); }
  SUBCASE("hidden start, narrow") {
    REQUIRE(util::StartHidden(ToAnsi(program.path()), ToAnsi(words), false));
  }
  CHECK(program.Runs().empty());
  ::SetEvent(go.event.Get());
  CHECK(::WaitForSingleObject(done.event.Get(), 10000) == WAIT_OBJECT_0);
  // The program's end is awaited through one more run of it.
  REQUIRE(util::StartHidden(program.path(), L"second", true));
  CHECK(program.Arguments() == std::vector<std::wstring>{words, L"second"});
  CHECK(program.Runs().back().hidden);
  CHECK(program.Runs().back().folder != folder.path());
}

TEST_CASE("a program that cannot be started gives false and the system's reason") {
  const TempFolder folder;
  const std::wstring missing = folder / L"no such.exe";
  DWORD code = 77;
  for (const bool launch : {true, false}) {
    ::SetLastError(NO_ERROR);
    CHECK_FALSE((launch ? util::LaunchProgram(missing, L"", &code, false)
                        : util::StartHidden(missing, L"", true)));
    CHECK(::GetLastError() == ERROR_FILE_NOT_FOUND);
  }
  CHECK(code == 77);
}

TEST_CASE("the shell ends its work before it returns, and has COM meanwhile") {
  const util::ScopeExit restore([] { util::g_shell_calls = {}; });
  util::g_shell_calls = {&JudgeStart<SHELLEXECUTEINFOW>, &JudgeStart<SHELLEXECUTEINFOA>};
  g_right_starts = 0;
  CHECK_FALSE(util::LaunchProgram(std::wstring(L"x"), L"", nullptr, false));
  CHECK_FALSE(util::LaunchProgram(std::string("x"), "", nullptr, false));
  CHECK_FALSE(util::StartHidden(std::wstring(L"x"), L"", true));
  CHECK_FALSE(util::StartHidden(std::string("x"), "", true));
  CHECK(::GetLastError() == ERROR_ACCESS_DENIED);
  CHECK(g_right_starts == 4);
}

TEST_CASE("launches keep no handle open") {
  const TempFolder folder;
  const SetupProgram program(folder, L"setup.exe");
  uint32_t before = 0;
  for (int round = 0; round < 6; ++round) {
    DWORD code = 0;
    REQUIRE(util::LaunchProgram(program.path(), L"", &code, true));
    REQUIRE(util::StartHidden(program.path(), L"", true));
    REQUIRE(util::StartHidden(ToAnsi(program.path()), "", true));
    // What the shell opens once and keeps is none of ours.
    if (round == 0) before = test::CountOpenHandles();
  }
  CHECK(before > 0);
  CHECK(test::CountOpenHandles() < before + 5);
}
