#include <windows.h>

#include <doctest.h>

#include <string_view>

#include "util/error_text.h"
#include "util/unique_handle.h"
#include "util/os_family.h"

TEST_CASE("the program's second name makes it see Windows 98") {
  wchar_t path[MAX_PATH];
  const std::wstring_view program(path, ::GetModuleFileNameW(nullptr, path, MAX_PATH));
  CHECK(util::IsNtFamily() != program.ends_with(L"_older.exe"));
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
