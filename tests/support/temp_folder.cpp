#include "support/temp_folder.h"

#include <windows.h>

#include <doctest.h>

#include <algorithm>
#include <ranges>

#include "util/unique_handle.h"

namespace test {
namespace {

void RemoveTree(const std::wstring& folder) {
  for (std::wstring name : ListBelow(folder) | std::views::reverse) {
    const bool is_folder = name.ends_with(L'\\');
    name.resize(name.size() - is_folder);
    const std::wstring path = L"\\\\?\\" + folder + L"\\" + name;
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    is_folder ? ::RemoveDirectoryW(path.c_str()) : ::DeleteFileW(path.c_str());
  }
  ::RemoveDirectoryW((L"\\\\?\\" + folder).c_str());
}

}  // namespace

TempFolder::TempFolder() {
  static int count = 0;
  wchar_t base[MAX_PATH];
  ::GetTempPathW(MAX_PATH, base);
  path_ = std::wstring(base) + L"prereq test " + std::to_wstring(::GetCurrentProcessId()) + L"-" +
          std::to_wstring(++count);
  // A run that was cut short leaves its folder behind, and process ids come round again.
  RemoveTree(path_);
  REQUIRE(::CreateDirectoryW(path_.c_str(), nullptr));
}

TempFolder::~TempFolder() { RemoveTree(path_); }

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

std::vector<std::wstring> ListBelow(const std::wstring& folder) {
  std::vector<std::wstring> names;
  WIN32_FIND_DATAW found;
  const util::UniqueFind search(::FindFirstFileW((L"\\\\?\\" + folder + L"\\*").c_str(), &found));
  if (!search) return names;
  do {
    const std::wstring name = found.cFileName;
    if (name == L"." || name == L"..") continue;
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      names.push_back(name);
      continue;
    }
    names.push_back(name + L"\\");
    for (const std::wstring& below : ListBelow(folder + L"\\" + name)) {
      names.push_back(name + L"\\" + below);
    }
  } while (::FindNextFileW(search.Get(), &found));
  return names;
}

std::wstring ProgramFolder() {
  wchar_t path[MAX_PATH];
  const std::wstring program(path, ::GetModuleFileNameW(nullptr, path, MAX_PATH));
  return program.substr(0, program.rfind(L'\\'));
}

}  // namespace test
