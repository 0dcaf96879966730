#include "prereq/cleanup.h"

#include <windows.h>

#include <doctest.h>

#include "support/action_fixture.h"
#include "support/data_rows.h"
#include "util/files.h"
#include "util/os_family.h"

namespace {

// Wine makes no junctions: the system's answer stands in for one, told by a folder that is hidden.
BOOL WINAPI HiddenIsLink(HANDLE file, BY_HANDLE_FILE_INFORMATION* information) {
  const BOOL result = ::GetFileInformationByHandle(file, information);
  if ((information->dwFileAttributes & FILE_ATTRIBUTE_HIDDEN) != 0) {
    information->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
  }
  return result;
}

std::wstring opened;  // Paths and requests, one a line.

HANDLE WINAPI NoteOpen(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* rights,
                       DWORD disposition, DWORD flags, HANDLE like) {
  constexpr DWORD kAsItIs = FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS;
  opened += path;
  if ((flags & kAsItIs) != kAsItIs) opened += L" (followed)";
  if ((access & FILE_LIST_DIRECTORY) == 0 || (share & FILE_SHARE_DELETE) != 0)
    opened += L" (loose)";
  opened += L'\n';
  return ::CreateFileW(path, access, share, rights, disposition, flags, like);
}

}  // namespace

TEST_CASE("the clean-up deletes nothing below a link, and holds the folders while it deletes") {
  if (!util::IsNtFamily()) return;
  util::FolderFunctions functions = util::SystemFolderFunctions();
  functions.create_file = &NoteOpen;
  functions.get_information = &HiddenIsLink;
  for (const std::wstring link : {L"", L"\\WF", L"\\WF\\sub", L"\\WF\\sub\\deep", L"\\above"}) {
    CAPTURE(test::ToUtf8(link));
    test::ActionFixture fixture;
    const test::TempFolder& folder = fixture.folder();
    const std::wstring top = folder.path() + L"\\above\\WF";
    const std::wstring file = folder.Write(L"above\\WF\\sub\\deep\\x.exe", "x");
    if (!link.empty()) {
      const std::wstring place = link == L"\\above" ? link : L"\\above" + link;
      REQUIRE(::SetFileAttributesW((folder.path() + place).c_str(), FILE_ATTRIBUTE_HIDDEN));
    }
    fixture.session().SetProperty(L"QX_PREREQFILES", file);
    fixture.session().SetProperty(L"QX_PREREQDIRS", top);
    opened.clear();
    prereq::CleanupRunner(fixture.session().session(), functions).Run();
    // What lies above the recorded folder is not judged.
    const bool is_deleted = link.empty() || link == L"\\above";
    CHECK(util::PathExists(file) != is_deleted);
    CHECK(util::PathExists(top + L"\\sub") != is_deleted);
    CHECK(util::PathExists(top));
    if (is_deleted) {
      CHECK(opened == top + L"\n" + top + L"\\sub\n" + top + L"\\sub\\deep\n");
    }
  }
}
