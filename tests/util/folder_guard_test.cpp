#include "util/folder_guard.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <doctest.h>

#include "support/data_rows.h"
#include "support/temp_folder.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/scope_exit.h"

namespace {

std::wstring account;  // As texts of identifiers.
std::wstring owner;
std::wstring access_lists;  // Of the folders that were made, one a line.

std::string Sid(const std::wstring& text) {
  PSID sid = nullptr;
  if (!::ConvertStringSidToSidW(text.c_str(), &sid)) return {};
  const util::ScopeExit free([&] { ::LocalFree(sid); });
  return std::string(static_cast<const char*>(sid), ::GetLengthSid(sid));
}
std::string ReadAccount() { return Sid(account); }
std::string ReadOwner(HANDLE) { return Sid(owner); }

BOOL WINAPI NoteFolder(const wchar_t* path, SECURITY_ATTRIBUTES* attributes) {
  wchar_t* text = nullptr;
  REQUIRE(::ConvertSecurityDescriptorToStringSecurityDescriptorW(
      attributes->lpSecurityDescriptor, 1, DACL_SECURITY_INFORMATION, &text, nullptr));
  access_lists += text;
  ::LocalFree(text);
  access_lists += L'\n';
  return ::CreateDirectoryW(path, nullptr);
}

BOOL WINAPI SayLink(HANDLE, BY_HANDLE_FILE_INFORMATION* information) {
  information->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  return TRUE;
}

}  // namespace

// Wine runs everything as one user and keeps no access lists: accounts and owners are said here.
TEST_CASE("a service account's folders are its own or an administrator's") {
  if (!util::IsNtFamily()) return;
  util::FolderFunctions functions = util::SystemFolderFunctions();
  functions.read_account = &ReadAccount;
  functions.read_owner = &ReadOwner;
  functions.create_directory = &NoteFolder;
  const test::TempFolder folder;
  for (const test::DataRow& row : test::ReadDataRows("util/folder_owners.txt")) {
    CAPTURE(row.line);
    account = row[0];
    owner = row[1];
    CHECK(util::IsServiceAccount(functions) == row.Yes(2));
    CHECK(util::IsTrustedFolder(folder.path(), functions) == row.Yes(3));
  }
  CHECK_FALSE(util::IsTrustedFolder(folder / L"none", functions));
  functions.get_information = &SayLink;
  owner = account = L"S-1-5-18";
  CHECK_FALSE(util::IsTrustedFolder(folder.path(), functions));
  CHECK(util::IsLink(folder.path(), functions));

  access_lists.clear();
  CHECK(util::MakeProtectedFolders(folder / L"a/b\\c", functions) == ERROR_SUCCESS);
  CHECK(util::PathExists(folder / L"a\\b\\c"));
  CHECK(access_lists.ends_with(L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)\n"));
  CHECK(util::MakeProtectedFolders(folder / L"a", functions) == ERROR_SUCCESS);
  CHECK(util::MakeProtectedFolder(folder / L"a", functions) == ERROR_ALREADY_EXISTS);
  account = L"S-1-5-20";
  CHECK(util::MakeProtectedFolder(folder / L"d", functions) == ERROR_SUCCESS);
  CHECK(access_lists.ends_with(L"(A;OICI;FA;;;BA)(A;OICI;FA;;;NS)\n"));
}

TEST_CASE("the system says who runs this and who owns a folder") {
  const util::FolderFunctions& functions = util::SystemFolderFunctions();
  const test::TempFolder folder;
  const std::string own = functions.read_account();
  CHECK(own.size() >= 12);
  CHECK_FALSE(util::IsServiceAccount());
  CHECK(util::IsTrustedFolder(folder.path()));
  CHECK_FALSE(util::IsLink(folder.path(), functions));
}
