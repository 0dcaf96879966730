#include "folders.h"

#include <windows.h>

#include <doctest.h>

#include <string>
#include <string_view>

#include "util/os_family.h"
#include "util/unique_handle.h"

namespace {

DWORD WINAPI NoTempPath(DWORD, wchar_t*) { return 0; }
DWORD WINAPI LongTempPath(DWORD size, wchar_t*) { return size; }
DWORD WINAPI ProtectedTempPath(DWORD, wchar_t* buffer) {
  constexpr std::wstring_view kFolder = L"C:\\windows\\SystemTemp\\";
  kFolder.copy(buffer, kFolder.size());
  return kFolder.size();
}

}  // namespace

TEST_CASE("libraries come from the system folder alone") {
  // The test program is in the folder of this library.
  const auto is_found = [] {
    return static_cast<bool>(util::UniqueModule(::LoadLibraryW(L"Prereq.dll")));
  };
  REQUIRE(is_found());
  setup::LimitLibraryFolders();
  CHECK_FALSE(is_found());
  CHECK(util::UniqueModule(::LoadLibraryW(L"version.dll")));
}

TEST_CASE("the folder for temporary files is the protected one, or the user's, or none") {
  if (!util::IsNtFamily()) return;
  wchar_t users[MAX_PATH + 2];
  ::GetTempPathW(MAX_PATH + 2, users);
  CHECK(setup::TempFolder(&ProtectedTempPath) == L"C:\\windows\\SystemTemp\\");
  CHECK(setup::TempFolder(nullptr) == users);
  CHECK(setup::TempFolder(&NoTempPath).empty());
  CHECK(setup::TempFolder(&LongTempPath).empty());
}
