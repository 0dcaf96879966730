#include <windows.h>

#include <doctest.h>

#include <string_view>

#include "support/temp_folder.h"
#include "util/error_text.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/process.h"
#include "util/system_library.h"
#include "util/unique_handle.h"
#include "util/wow64.h"

namespace {

int g_calls = 0;
std::string_view g_missing;

BOOL WINAPI CountCall(void*) { return ++g_calls; }

FARPROC FindCall(const char* name) {
  if (name == g_missing) return nullptr;
  return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&CountCall));
}

}  // namespace

TEST_CASE("the program's second name makes it see Windows 98") {
  wchar_t path[MAX_PATH];
  const std::wstring_view program(path, ::GetModuleFileNameW(nullptr, path, MAX_PATH));
  CHECK(util::IsNtFamily() != program.ends_with(L"_older.exe"));
}

TEST_CASE("file redirection that cannot be switched on again is not switched off") {
  for (const char* missing :
       {"Wow64RevertWow64FsRedirection", "Wow64DisableWow64FsRedirection", ""}) {
    g_calls = 0;
    g_missing = missing;
    { const util::FileRedirectionOff off(&FindCall); }
    CHECK(g_calls == (g_missing.empty() ? 2 : 0));
  }
}

TEST_CASE("a process without memory ends with that error and shows nothing") {
  DWORD code = 0;
  REQUIRE(util::LaunchProgram(test::ProgramFolder() + L"\\out_of_memory.exe", L"", &code, true));
  CHECK(code == ERROR_NOT_ENOUGH_MEMORY);
}

TEST_CASE("libraries come from the system folder alone") {
  const util::UniqueModule version = util::LoadSystemLibrary("version.dll");
  REQUIRE(version);
  wchar_t path[MAX_PATH];
  const std::wstring loaded(path, ::GetModuleFileNameW(version.Get(), path, MAX_PATH));
  CHECK(::lstrcmpiW(loaded.c_str(), (util::SystemFolder() + L"version.dll").c_str()) == 0);
  // One of another name beside the program.
  const std::wstring planted = test::ProgramFolder() + L"\\prereq_planted.dll";
  CHECK(::CopyFileW(loaded.c_str(), planted.c_str(), FALSE));
  CHECK_FALSE(util::LoadSystemLibrary("prereq_planted.dll"));
  CHECK(::DeleteFileW(planted.c_str()));
}

TEST_CASE("an error number reads as a text, and one without a text as itself, signed") {
  const util::UniqueModule internet(::LoadLibraryA("wininet.dll"));  // As whoever downloads has it.
  for (const DWORD code : {2u, 12002u, 12007u}) {
    CAPTURE(code);
    CHECK(util::ErrorText(code).size() > 8);
    CHECK(util::ErrorText(code).ends_with(L"\r\n"));
  }
  CHECK(util::ErrorText(12002) != util::ErrorText(12007));
  CHECK(util::ErrorText(12175) == L"12175");
  CHECK(util::ErrorText(0x20000001) == L"536870913");
  CHECK(util::ErrorText(0xE0000018) == L"-536870888");
}
