#include "util/files.h"

#include <doctest.h>

#include "support/data_rows.h"
#include "support/redirected_temp.h"
#include "support/temp_folder.h"
#include "util/os_family.h"
#include "util/text.h"

using test::TempFolder;

namespace {

std::wstring WhatIs(const std::wstring& path) {
  if (util::FileExists(path)) return util::PathExists(path) ? L"file" : L"a lie";
  return util::PathExists(path) ? L"folder" : L"nothing";
}

}  // namespace

TEST_CASE("only full paths exist, and folders are made with those above them") {
  const TempFolder folder;
  folder.Write(L"sub folder\\a file.txt", "12345");
  ::SetCurrentDirectoryW(folder.path().c_str());
  const auto fill_in = [&](std::wstring path) {
    for (const auto& [name, value] :
         {std::pair{L"{folder}", folder.path()}, std::pair{L"{rooted}", folder.path().substr(2)}}) {
      if (const size_t at = path.find(name); at != path.npos) path.replace(at, 8, value);
    }
    return path;
  };
  for (const test::DataRow& row : test::ReadDataRows("util/file_paths.txt")) {
    CAPTURE(row.line);
    const std::wstring path = fill_in(row[1]);
    if (row[0] == L"is") {
      CHECK(WhatIs(path) == row[2]);
    } else {
      CHECK(util::MakeFolders(path) == static_cast<DWORD>(row.Number(2)));
      CHECK(WhatIs(fill_in(row[3])) == L"folder");
    }
  }
  ::SetCurrentDirectoryW(L"C:\\");
}

TEST_CASE("characters outside the code page name files on Windows NT 4.0 to 11 only") {
  const TempFolder folder;
  const std::wstring path = folder.Write(L"\u65E5\u672C\u8A9E.bin", "123");
  CHECK(util::FileExists(path) == util::IsNtFamily());
  CHECK(util::ReadFileSize(path).has_value() == util::IsNtFamily());
}

TEST_CASE("short names say what the code page cannot, and nothing else does") {
  const TempFolder folder;
  folder.Write(L"Lukasz\\it", "its neighbour");
  const std::wstring path = folder.Write(L"\u0141ukasz\\it", "1");
  const auto said = util::ToAnsiPath(path);
  CHECK(said.has_value() == util::IsNtFamily());
  if (said) CHECK(util::ReadFileSize(util::ToWide(*said)) == uint64_t{1});
  CHECK_FALSE(util::ToAnsiPath(folder / L"\u0141 that is not there"));
  CHECK(util::ToAnsiPath(folder / L"not there") == util::ToAnsi(folder / L"not there"));

  const test::RedirectedTemp temp;  // Restores it.
  ::SetEnvironmentVariableW(L"TMP", path.substr(0, path.size() - 3).c_str());
  const std::string temp_folder = util::ReadTempFolder();
  if (!util::IsNtFamily()) return;  // The ANSI call alone.
  CHECK(util::ReadFileSize(util::ToWide(temp_folder + "it")) == uint64_t{1});
}

TEST_CASE("a file of any size is measured, also while another program writes it") {
  const TempFolder folder;
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
  const TempFolder folder;
  const std::wstring path = folder.Write(L"sub\\old", "old content");
  REQUIRE(util::CreateForWriting(path));
  CHECK(util::ReadFileSize(path) == uint64_t{0});
  CHECK_FALSE(util::CreateForWriting(folder / L"no such folder\\file"));

  CHECK_FALSE(util::RemoveFolder(folder / L"sub"));
  CHECK(::GetLastError() == ERROR_DIR_NOT_EMPTY);
  CHECK(util::RemoveFile(path));
  CHECK_FALSE(util::RemoveFile(path));
  CHECK(::GetLastError() == ERROR_FILE_NOT_FOUND);
  CHECK(util::RemoveFolder(folder / L"sub"));
  CHECK(WhatIs(folder / L"sub") == L"nothing");
}
