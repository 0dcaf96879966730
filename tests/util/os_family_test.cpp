#include "util/os_family.h"

#include <windows.h>

#include <doctest.h>

#include <string_view>

TEST_CASE("the program's second name makes it see the older family") {
  wchar_t path[MAX_PATH];
  const std::wstring_view program(path, ::GetModuleFileNameW(nullptr, path, MAX_PATH));
  CHECK(util::IsNtFamily() != program.ends_with(L"_older.exe"));
}
