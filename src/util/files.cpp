#include "util/files.h"

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
  if (path.empty() || path.back() == L':' || MakeFolder(path)) return ERROR_SUCCESS;
  const DWORD error = ::GetLastError();
  // Asked before the error is judged: for a server's share some systems call its parent missing.
  if (IsFolder(path)) return ERROR_SUCCESS;
  const size_t separator = path.find_last_of(L"\\/");
  const bool parent_missing = error == ERROR_PATH_NOT_FOUND || error == ERROR_FILE_NOT_FOUND;
  if (!parent_missing || separator == std::wstring::npos) return error;
  if (const DWORD above = MakeFolders(path.substr(0, separator))) return above;
  if (MakeFolder(path)) return ERROR_SUCCESS;
  const DWORD last_error = ::GetLastError();
  return IsFolder(path) ? ERROR_SUCCESS : last_error;  // Somebody else may have been faster.
}

std::string ReadTempFolder() {
  const auto read = [](char* buffer, DWORD size) { return ::GetTempPathA(size, buffer); };
  return ReadSizedText(read).value_or("");
}

std::wstring SystemFolder() {
  char folder[MAX_PATH];
  const UINT length = ::GetSystemDirectoryA(folder, MAX_PATH);
  const std::string_view path(folder, length < MAX_PATH ? length : 0);
  return WithBackslash(ToWide(path));
}

}  // namespace util
