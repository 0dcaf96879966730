// Makes a setup executable: appends a package and its prerequisites to the reference program.

#include <windows.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "archive_writer.h"
#include "util/error_text.h"
#include "util/files.h"
#include "util/text.h"

namespace {

constexpr char kUsage[] =
    "usage: pack_setup <stub.exe> <setup.exe> <package.msi> [<group>=<file> ...]\n"
    "  The group of a prerequisite is 100 and its Sequence; files of group 0 are unpacked beside\n"
    "  the package.\n";

int Fail(const std::wstring& what, DWORD error) {
  std::wstring text = error == ERROR_INVALID_NAME ? L"the setup cannot hold a file of that name"
                      : error == ERROR_DUP_NAME   ? L"there are two files of that name"
                                                  : util::ErrorText(error);
  while (!text.empty() && text.back() < L' ') text.pop_back();
  std::fprintf(stderr, "pack_setup: %s: %s\n", util::ToAnsi(what).c_str(),
               util::ToAnsi(text).c_str());
  return 1;
}

// "103=file"; a number without digits or without a file is none.
bool ReadItem(std::wstring_view item, int32_t* group, std::wstring* path) {
  const size_t equals = item.find(L'=');
  if (equals == item.npos || equals == 0 || equals > 9) return false;
  const std::wstring_view number = item.substr(0, equals);
  if (number.find_first_not_of(L"0123456789") != number.npos) return false;
  *group = util::ParseDecimal<int32_t>(number);
  *path = item.substr(equals + 1);
  return !path->empty();
}

}  // namespace

int wmain(int count, wchar_t** values) {
  if (count < 4) return std::fputs(kUsage, stderr), 2;
  const std::wstring target = values[2];
  setup::ArchiveWriter writer;
  DWORD error = writer.Begin(values[1], target);
  if (error != ERROR_SUCCESS) return Fail(values[1], error);
  std::wstring path = values[3];
  error = writer.Add(setup::kPackageGroup, path);
  for (int i = 4; i < count && error == ERROR_SUCCESS; ++i) {
    int32_t group = 0;
    if (!ReadItem(values[i], &group, &path)) {
      path = values[i];
      error = ERROR_BAD_ARGUMENTS;
      break;
    }
    error = writer.Add(group, path);
  }
  if (error == ERROR_SUCCESS) {
    path = target;
    error = writer.Finish();
  }
  if (error != ERROR_SUCCESS) {
    // A setup executable without its files is worse than none.
    writer = {};
    (void)util::RemoveFile(target);
    return Fail(path, error);
  }
  for (const setup::ArchiveEntry& entry : writer.entries()) {
    std::printf("%4d  %-32s %10llu -> %llu bytes\n", static_cast<int>(entry.group),
                util::ToAnsi(entry.name).c_str(), static_cast<unsigned long long>(entry.bytes),
                static_cast<unsigned long long>(entry.packed_bytes));
  }
  return 0;
}
