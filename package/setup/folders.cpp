#include "folders.h"

#include "util/files.h"
#include "util/find_function.h"
#include "util/folder_guard.h"
#include "util/os_family.h"
#include "util/text.h"

namespace setup {
namespace {

constexpr DWORD kLongestPath = 32768;
constexpr int kTries = 1000;

DWORD MakeNewFolder(const std::wstring& path) {
  if (util::IsServiceAccount()) return util::MakeProtectedFolder(path);
  return util::MakeFolder(path) ? ERROR_SUCCESS : ::GetLastError();
}

}  // namespace

std::wstring TempFolder(ReadTempPath read_protected) {
  if (!util::IsNtFamily()) return util::ToWide(util::ReadTempFolder());
  std::wstring folder(MAX_PATH + 2, L'\0');
  const auto size = static_cast<DWORD>(folder.size());
  const DWORD length = read_protected != nullptr ? read_protected(size, folder.data())
                                                 : ::GetTempPathW(size, folder.data());
  folder.resize(length < size ? length : 0);
  return folder;
}

ReadTempPath FindProtectedTempPath() {
  return util::FindFunction<ReadTempPath>(::GetModuleHandleA("kernel32.dll"), "GetTempPath2W");
}

std::wstring MakeOwnTempFolder() {
  const std::wstring temp = TempFolder(FindProtectedTempPath());
  if (temp.empty()) {
    ::SetLastError(ERROR_PATH_NOT_FOUND);
    return {};
  }
  const std::wstring start = temp + L"Setup-" + util::ToDecimal(::GetCurrentProcessId());
  DWORD number = ::GetTickCount();
  for (int tries = 0; tries < kTries; ++tries, ++number) {
    std::wstring folder = start + L"-" + util::ToDecimal(number);
    const DWORD error = MakeNewFolder(folder);
    if (error == ERROR_SUCCESS) return folder;
    ::SetLastError(error);
    if (error != ERROR_ALREADY_EXISTS) break;
  }
  return {};
}

DWORD MakeTargetFolders(const std::wstring& path) {
  if (!util::IsServiceAccount()) return util::MakeFolders(path);
  if (const DWORD error = util::MakeProtectedFolders(path)) return error;
  return util::IsTrustedFolder(path) ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

void LimitLibraryFolders() {
  constexpr DWORD kSystemFolderAlone = 0x800;  // LOAD_LIBRARY_SEARCH_SYSTEM32
  const HMODULE kernel = ::GetModuleHandleA("kernel32.dll");
  const auto limit = util::FindFunction<BOOL(WINAPI*)(DWORD)>(kernel, "SetDefaultDllDirectories");
  if (limit != nullptr && limit(kSystemFolderAlone)) return;
  // Older systems can at least leave out the current folder.
  const auto set = util::FindFunction<BOOL(WINAPI*)(const char*)>(kernel, "SetDllDirectoryA");
  if (set != nullptr) (void)set("");
}

std::wstring OwnPath() {
  if (!util::IsNtFamily()) {
    char path[MAX_PATH];
    return util::ToWide({path, ::GetModuleFileNameA(nullptr, path, MAX_PATH)});
  }
  std::wstring path(kLongestPath, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), kLongestPath));
  return path;
}

}  // namespace setup
