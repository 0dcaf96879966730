#include "util/files.h"

#include <doctest.h>

#include "support/temp_folder.h"
#include "util/os_family.h"
#include "util/text.h"

TEST_CASE("only full paths exist, files and folders apart") {
  const test::TempFolder folder;
  const std::wstring file = folder.Write(L"sub folder\\a file.txt", "12345");
  ::SetCurrentDirectoryW(folder.path().c_str());
  const struct {
    std::wstring path;
    bool exists;
    bool is_file;
  } cases[] = {
      {file, true, true},
      {L"\\\\?\\" + file, true, true},
      {file.substr(2), true, true},  // From the root of the current drive.
      {folder / L"sub folder", true, false},
      {folder / L"sub folder\\", true, false},
      {folder / L"sub folder\\no file", false, false},
      {L"sub folder", false, false},  // There, but not a full path.
      {L"sub folder\\a file.txt", false, false},
      {L"C:", true, false},
      {L"", false, false},
  };
  for (const auto& [path, exists, is_file] : cases) {
    CAPTURE(util::ToAnsi(path));
    CHECK(util::PathExists(path) == exists);
    CHECK(util::FileExists(path) == is_file);
  }
  ::SetCurrentDirectoryW(L"C:\\");
}

TEST_CASE("letters outside the code page name files on the NT family only") {
  const test::TempFolder folder;
  const std::wstring path = folder.Write(L"\u65E5\u672C\u8A9E.bin", "123");
  CHECK(util::FileExists(path) == util::IsNtFamily());
  CHECK(util::ReadFileSize(path).has_value() == util::IsNtFamily());
}

TEST_CASE("a file of any size is measured, also while another program writes it") {
  const test::TempFolder folder;
  CHECK(util::ReadFileSize(folder.Write(L"empty", "")) == uint64_t{0});
  CHECK(util::ReadFileSize(folder / L"missing") == std::nullopt);
  const std::wstring path = folder / L"growing";
  const util::UniqueFile file = util::CreateForWriting(path);
  REQUIRE(file);
  // Sparse: 4 GiB less one byte has a low word of all ones, 4 GiB a low word of 0.
  for (const uint64_t size : {uint64_t{5}, uint64_t{0xFFFFFFFF}, uint64_t{0x100000000}}) {
    LONG high = static_cast<LONG>(size >> 32);
    ::SetFilePointer(file.Get(), static_cast<LONG>(size), &high, FILE_BEGIN);
    REQUIRE(::SetEndOfFile(file.Get()));
    CHECK(util::ReadFileSize(path) == size);
  }
}

TEST_CASE("writing replaces what was there, and removing takes one file or one empty folder") {
  const test::TempFolder folder;
  const std::wstring path = folder.Write(L"sub\\old", "old content");
  {
    const util::UniqueFile file = util::CreateForWriting(path);
    DWORD written = 0;
    REQUIRE(::WriteFile(file.Get(), "new", 3, &written, nullptr));
  }
  CHECK(test::ReadWholeFile(path) == "new");
  CHECK_FALSE(util::CreateForWriting(folder / L"no such folder\\file"));

  CHECK_FALSE(util::RemoveFolder(folder / L"sub"));
  CHECK(::GetLastError() == ERROR_DIR_NOT_EMPTY);
  CHECK(util::RemoveFile(path));
  CHECK_FALSE(util::RemoveFile(path));
  CHECK(::GetLastError() == ERROR_FILE_NOT_FOUND);
  CHECK(util::RemoveFolder(folder / L"sub"));
  CHECK_FALSE(util::PathExists(folder / L"sub"));
}

TEST_CASE("folders are made with those above them, and one that is there is no error") {
  const test::TempFolder folder;
  folder.Write(L"file", "in the way");
  ::SetCurrentDirectoryW(folder.path().c_str());
  const struct {
    std::wstring path;
    DWORD error;
  } cases[] = {
      {folder / L"a\\b\\c", ERROR_SUCCESS},
      {folder / L"a\\b\\c", ERROR_SUCCESS},
      {folder / L"a/d\\e/", ERROR_SUCCESS},
      {L"\\\\?\\" + (folder / L"f\\g"), ERROR_SUCCESS},
      {L"relative\\h", ERROR_SUCCESS},
      {L"C:", ERROR_SUCCESS},
      {L"", ERROR_SUCCESS},
      {folder / L"file", ERROR_ALREADY_EXISTS},
      {folder / L"file\\i", ERROR_ALREADY_EXISTS},
  };
  for (const auto& [path, error] : cases) {
    CAPTURE(util::ToAnsi(path));
    CHECK(util::MakeFolders(path) == error);
  }
  ::SetCurrentDirectoryW(L"C:\\");
  for (const wchar_t* made : {L"a\\b\\c", L"a\\d\\e", L"f\\g", L"relative\\h"}) {
    CAPTURE(util::ToAnsi(made));
    CHECK(util::PathExists(folder / made));
  }
}
