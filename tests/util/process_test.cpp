#include "util/process.h"

#include <doctest.h>

#include <algorithm>

#include "support/setup_program.h"
#include "util/find_function.h"
#include "util/text.h"
#include "util/unique_handle.h"

using test::SetupProgram;
using test::TempFolder;

namespace {

// An event that a started program waits for or sets.
class NamedEvent {
 public:
  explicit NamedEvent(const wchar_t* use)
      : name_(std::wstring(L"prereq-") + use + std::to_wstring(::GetCurrentProcessId())),
        event_(::CreateEventW(nullptr, TRUE, FALSE, name_.c_str())) {}
  [[nodiscard]] const std::wstring& name() const { return name_; }
  void Set() { ::SetEvent(event_.Get()); }
  bool Wait() { return ::WaitForSingleObject(event_.Get(), 10000) == WAIT_OBJECT_0; }

 private:
  std::wstring name_;
  util::UniqueKernelHandle event_;
};

// Handles that this process has open, by the system's list of them all.
size_t CountOpenHandles() {
  struct Entry {
    ULONG process;
    UCHAR type, flags;
    USHORT handle;
    void* object;
    ACCESS_MASK access;
  };
  constexpr int kSystemHandleInformation = 16;
  using QueryInformation = LONG(WINAPI*)(int, void*, ULONG, ULONG*);
  const auto query = util::FindFunction<QueryInformation>(::GetModuleHandleW(L"ntdll.dll"),
                                                          "NtQuerySystemInformation");
  std::vector<unsigned char> bytes(size_t{1} << 22);
  ULONG size = 0;
  REQUIRE(query(kSystemHandleInformation, bytes.data(), static_cast<ULONG>(bytes.size()), &size) ==
          0);
  const auto count = *reinterpret_cast<const ULONG*>(bytes.data());
  const auto* const entries = reinterpret_cast<const Entry*>(bytes.data() + sizeof(ULONG));
  return static_cast<size_t>(std::count_if(entries, entries + count, [](const Entry& entry) {
    return entry.process == ::GetCurrentProcessId();
  }));
}

}  // namespace

TEST_CASE("arguments are joined up to the first empty one, those with blanks in quotes") {
  const struct {
    std::vector<std::wstring> items;
    const wchar_t* line;
  } cases[] = {
      {{}, L""},
      {{L""}, L""},
      {{L"one"}, L"one"},
      {{L"one", L"two three", L"four"}, L"one \"two three\" four"},
      {{L"one", L"", L"two"}, L"one"},
      {{L"\"in quotes\"", L"x"}, L"\"in quotes\" x"},
      {{L"\"begins only", L"ends only\""}, L"\"begins only ends only\""},
      {{L"in\"side one"}, L"\"in\"side one\""},
      {{L"tab\tonly", L" "}, L"tab\tonly \" \""},
  };
  for (const auto& [items, line] : cases) {
    CAPTURE(util::ToAnsi(line));
    CHECK(util::JoinArguments(items) == line);
  }
}

TEST_CASE("a program is launched in its own folder and awaited for its exit code") {
  const TempFolder folder;
  const struct {
    const wchar_t* name;
    std::wstring arguments;
    bool hidden;
    DWORD exit_code;
  } cases[] = {
      {L"a setup\\setup.exe", L"", false, 0},
      {L"a setup\\setup two.exe", L"/x \"b c\" exit=3010", false, 3010},
      {L"hidden\\setup.exe", L"exit=4294967295", true, 0xFFFFFFFF},
      {L"long\\setup.exe", std::wstring(1500, L'x') + L" exit=7", true, 7},
  };
  for (const auto& [name, arguments, hidden, exit_code] : cases) {
    for (const bool narrow : {false, true}) {
      CAPTURE(util::ToAnsi(name));
      CAPTURE(narrow);
      const SetupProgram program(folder, name);
      ::DeleteFileW((program.path() + L".log").c_str());
      DWORD code = 99;
      REQUIRE((narrow ? util::LaunchProgram(util::ToAnsi(program.path()), util::ToAnsi(arguments),
                                            &code, hidden)
                      : util::LaunchProgram(program.path(), arguments, &code, hidden)));
      CHECK(code == exit_code);
      const auto runs = program.Runs();
      REQUIRE(runs.size() == 1);
      CHECK(runs[0].arguments == arguments);
      CHECK(runs[0].folder == program.path().substr(0, program.path().rfind(L'\\')));
      CHECK(runs[0].hidden == hidden);
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
  NamedEvent go(L"go");
  NamedEvent done(L"done");
  const std::wstring words = L"wait=" + go.name() + L" done=" + done.name();
  SUBCASE("launch") { REQUIRE(util::LaunchProgram(program.path(), words, nullptr, false)); }
  SUBCASE("hidden start, wide") { REQUIRE(util::StartHidden(program.path(), words, false)); }
  SUBCASE("hidden start, narrow") {
    REQUIRE(util::StartHidden(util::ToAnsi(program.path()), util::ToAnsi(words), false));
  }
  CHECK(program.Runs().empty());
  go.Set();
  CHECK(done.Wait());
  // The program's end is awaited through one more run of it.
  REQUIRE(util::StartHidden(program.path(), L"second", true));
  const auto runs = program.Runs();
  REQUIRE(runs.size() == 2);
  CHECK(runs[0].arguments == words);
  CHECK(runs[1].arguments == L"second");
  CHECK(runs[1].hidden);
  CHECK(runs[1].folder != folder.path());
}

TEST_CASE("a program that cannot be started gives false and the system's reason") {
  const TempFolder folder;
  const std::wstring missing = folder / L"no such.exe";
  DWORD code = 77;
  ::SetLastError(NO_ERROR);
  CHECK_FALSE(util::LaunchProgram(missing, L"", &code, false));
  CHECK(::GetLastError() == ERROR_FILE_NOT_FOUND);
  CHECK(code == 77);
  ::SetLastError(NO_ERROR);
  CHECK_FALSE(util::StartHidden(missing, L"", true));
  CHECK(::GetLastError() == ERROR_FILE_NOT_FOUND);
}

TEST_CASE("launches keep no handle open") {
  const TempFolder folder;
  const SetupProgram program(folder, L"setup.exe");
  const auto launch_all = [&] {
    DWORD code = 0;
    REQUIRE(util::LaunchProgram(program.path(), L"", &code, true));
    REQUIRE(util::StartHidden(program.path(), L"", true));
    REQUIRE(util::StartHidden(util::ToAnsi(program.path()), "", true));
  };
  launch_all();  // What the shell opens once and keeps is none of ours.
  const size_t before = CountOpenHandles();
  REQUIRE(before > 0);
  for (int i = 0; i < 5; ++i) launch_all();
  CHECK(CountOpenHandles() < before + 5);
}
