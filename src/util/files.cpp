#include "util/files.h"

#include <algorithm>

#include "util/os_family.h"
#include "util/sized_text.h"
#include "util/text.h"

namespace util {
namespace {

DWORD ReadAttributes(const std::wstring& path) {
  return IsNtFamily() ? ::GetFileAttributesW(path.c_str())
                      : ::GetFileAttributesA(ToAnsi(path).c_str());
}

DWORD ReadAttributesOfFullPath(const std::wstring& path) {
  if (path.empty() || (path.front() != L'\\' && path.find(L':') == std::wstring::npos)) {
    return INVALID_FILE_ATTRIBUTES;
  }
  return ReadAttributes(path);
}

bool IsFolder(const std::wstring& path) {
  const DWORD attributes = ReadAttributes(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

DWORD MakeFolderUnlessThere(const std::wstring& path) {
  if (path.empty() || path.back() == L':' || MakeFolder(path)) return ERROR_SUCCESS;
  const DWORD error = ::GetLastError();
  // Asked before the error is judged: for a server's share some systems call its parent missing.
  return IsFolder(path) ? ERROR_SUCCESS : error;
}

UniqueFile Open(const std::wstring& path, DWORD access, DWORD share, DWORD disposition) {
  return UniqueFile(IsNtFamily() ? ::CreateFileW(path.c_str(), access, share, nullptr, disposition,
                                                 FILE_ATTRIBUTE_NORMAL, nullptr)
                                 : ::CreateFileA(ToAnsi(path).c_str(), access, share, nullptr,
                                                 disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

bool PathExists(const std::wstring& path) {
  return ReadAttributesOfFullPath(path) != INVALID_FILE_ATTRIBUTES;
}

bool FileExists(const std::wstring& path) {
  const DWORD attributes = ReadAttributesOfFullPath(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

UniqueFile OpenForReading(const std::wstring& path) {
  return Open(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
}

UniqueFile OpenAndHold(const std::wstring& path) {
  // Reading is shared: the loader reads what it starts.
  return Open(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
}

UniqueFile CreateForWriting(const std::wstring& path) {
  return Open(path, GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS);
}

UniqueFile CreateNewForWriting(const std::wstring& path) {
  return Open(path, GENERIC_WRITE, FILE_SHARE_READ, CREATE_NEW);
}

std::optional<uint64_t> ReadFileSize(HANDLE file) {
  DWORD high = 0;
  // The oldest systems lack GetFileSizeEx. A low word of all ones is a size too, unless an error
  // says otherwise.
  ::SetLastError(NO_ERROR);
  const DWORD low = ::GetFileSize(file, &high);
  if (low == INVALID_FILE_SIZE && ::GetLastError() != NO_ERROR) return std::nullopt;
  return uint64_t{high} << 32 | low;
}

std::optional<uint64_t> ReadFileSize(const std::wstring& path) {
  const UniqueFile file = OpenForReading(path);
  return file ? ReadFileSize(file.Get()) : std::nullopt;
}

bool RemoveFile(const std::wstring& path) {
  return (IsNtFamily() ? ::DeleteFileW(path.c_str()) : ::DeleteFileA(ToAnsi(path).c_str())) !=
         FALSE;
}

bool RemoveFolder(const std::wstring& path) {
  return (IsNtFamily() ? ::RemoveDirectoryW(path.c_str())
                       : ::RemoveDirectoryA(ToAnsi(path).c_str())) != FALSE;
}

bool MakeFolder(const std::wstring& path) {
  return (IsNtFamily() ? ::CreateDirectoryW(path.c_str(), nullptr)
                       : ::CreateDirectoryA(ToAnsi(path).c_str(), nullptr)) != FALSE;
}

DWORD MakeFolders(const std::wstring& path) {
  // Up to the first folder that is there or can be made, then down again.
  size_t end = path.size();
  while (const DWORD error = MakeFolderUnlessThere(path.substr(0, end))) {
    const size_t separator = path.find_last_of(L"\\/", end - 1);
    const bool parent_missing = error == ERROR_PATH_NOT_FOUND || error == ERROR_FILE_NOT_FOUND;
    if (!parent_missing || separator == std::wstring::npos) return error;
    end = separator;
  }
  while (end < path.size()) {
    end = std::min(path.find_first_of(L"\\/", end + 1), path.size());
    if (const DWORD error = MakeFolderUnlessThere(path.substr(0, end))) return error;
  }
  return ERROR_SUCCESS;
}

std::optional<std::string> ToAnsiPath(const std::wstring& path) {
  std::optional<std::string> ansi = TryToAnsi(path);
  if (ansi || !IsNtFamily()) return ansi;
  wchar_t short_path[MAX_PATH];
  const DWORD length = ::GetShortPathNameW(path.c_str(), short_path, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return std::nullopt;
  return TryToAnsi({short_path, length});
}

std::string ReadTempFolder() {
  if (!IsNtFamily()) {
    const auto read = [](char* buffer, DWORD size) { return ::GetTempPathA(size, buffer); };
    return ReadSizedText(read).value_or("");
  }
  // The ANSI call would put a character that looks like it in the place of one that it cannot say.
  wchar_t folder[MAX_PATH + 1];
  const DWORD length = ::GetTempPathW(MAX_PATH + 1, folder);
  if (length == 0 || length > MAX_PATH) return {};
  return ToAnsiPath({folder, length}).value_or("");
}

std::wstring SystemFolder() {
  char folder[MAX_PATH];
  const UINT length = ::GetSystemDirectoryA(folder, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return {};
  return WithBackslash(ToWide({folder, length}));
}

}  // namespace util
