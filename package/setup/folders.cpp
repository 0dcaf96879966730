#include "folders.h"

#include "util/files.h"
#include "util/os_family.h"
#include "util/text.h"

namespace setup {
namespace {

constexpr DWORD kLongestPath = 32768;
constexpr int kTries = 1000;

std::wstring TempFolder() {
  if (!util::IsNtFamily()) return util::ToWide(util::ReadTempFolder());
  std::wstring folder(MAX_PATH + 1, L'\0');
  const DWORD length = ::GetTempPathW(MAX_PATH + 1, folder.data());
  folder.resize(length <= MAX_PATH ? length : 0);
  return folder;
}

}  // namespace

std::wstring MakeOwnTempFolder() {
  const std::wstring start = TempFolder() + L"Setup-" + util::ToDecimal(::GetCurrentProcessId());
  DWORD number = ::GetTickCount();
  for (int tries = 0; tries < kTries; ++tries, ++number) {
    std::wstring folder = start + L"-" + util::ToDecimal(number);
    if (util::MakeFolder(folder)) return folder;
    if (::GetLastError() != ERROR_ALREADY_EXISTS) break;
  }
  return {};
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
