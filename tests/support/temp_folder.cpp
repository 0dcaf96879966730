#include "support/temp_folder.h"

#include <windows.h>

#include <doctest.h>

#include <algorithm>

#include "util/unique_handle.h"

namespace test {
namespace {

void RemoveTree(const std::wstring& folder) {
  WIN32_FIND_DATAW found;
  util::UniqueFind search(::FindFirstFileW((folder + L"\\*").c_str(), &found));
  if (search) {
    do {
      const std::wstring name = found.cFileName;
      if (name == L"." || name == L"..") continue;
      const std::wstring path = folder + L"\\" + name;
      ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
      if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
        RemoveTree(path);
      } else {
        ::DeleteFileW(path.c_str());
      }
    } while (::FindNextFileW(search.Get(), &found));
    search.Reset();  // An open listing keeps the folder.
  }
  ::RemoveDirectoryW(folder.c_str());
}

}  // namespace

TempFolder::TempFolder() {
  static int count = 0;
  wchar_t base[MAX_PATH];
  ::GetTempPathW(MAX_PATH, base);
  path_ = std::wstring(base) + L"prereq test " + std::to_wstring(::GetCurrentProcessId()) + L"-" +
          std::to_wstring(++count);
  // A run that was cut short leaves its folder behind, and process ids come round again.
  RemoveTree(L"\\\\?\\" + path_);
  REQUIRE(::CreateDirectoryW(path_.c_str(), nullptr));
}

TempFolder::~TempFolder() { RemoveTree(L"\\\\?\\" + path_); }

std::wstring TempFolder::operator/(std::wstring_view name) const {
  return path_ + L"\\" + std::wstring(name);
}

std::wstring TempFolder::Write(std::wstring_view name, std::string_view content) const {
  const size_t slash = name.rfind(L'\\');
  if (slash != name.npos) MakeFolder(name.substr(0, slash));
  const std::wstring path = *this / name;
  const util::UniqueFile file(::CreateFileW((L"\\\\?\\" + path).c_str(), GENERIC_WRITE, 0, nullptr,
                                            CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  REQUIRE(file);
  DWORD written = 0;
  ::WriteFile(file.Get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
  REQUIRE(written == content.size());
  return path;
}

std::wstring TempFolder::MakeFolder(std::wstring_view name) const {
  for (size_t end = name.find(L'\\'); end != name.npos; end = name.find(L'\\', end + 1)) {
    ::CreateDirectoryW((L"\\\\?\\" + (*this / name.substr(0, end))).c_str(), nullptr);
  }
  ::CreateDirectoryW((L"\\\\?\\" + (*this / name)).c_str(), nullptr);
  return *this / name;
}

std::string ReadWholeFile(const std::wstring& given) {
  std::wstring path = given;
  std::replace(path.begin(), path.end(), L'/', L'\\');  // The prefix below takes no slashes.
  std::string content;
  const util::UniqueFile file(::CreateFileW((L"\\\\?\\" + path).c_str(), GENERIC_READ,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  char buffer[4096];
  DWORD read = 0;
  while (file && ::ReadFile(file.Get(), buffer, sizeof(buffer), &read, nullptr) && read != 0) {
    content.append(buffer, read);
  }
  return content;
}

std::wstring ProgramFolder() {
  wchar_t path[MAX_PATH];
  const std::wstring program(path, ::GetModuleFileNameW(nullptr, path, MAX_PATH));
  return program.substr(0, program.rfind(L'\\'));
}

}  // namespace test
