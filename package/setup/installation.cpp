#include "installation.h"

#include "archive.h"
#include "command_line.h"
#include "folders.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/text.h"
#include "util/unique_handle.h"

namespace setup {
namespace {

constexpr wchar_t kInstallerProgram[] = L"msiexec.exe";
constexpr wchar_t kPrerequisitesFolder[] = L"\\Prerequisites";

// Answers the first file's path, which is the package's, in `package`.
DWORD UnpackPackage(const Archive& archive, const std::wstring& folder, std::wstring* package) {
  for (const ArchiveEntry& entry : archive.entries()) {
    if (entry.group != kPackageGroup) continue;
    const std::wstring path = util::WithBackslash(folder) + entry.name;
    if (const DWORD error = archive.Unpack(entry, path, nullptr)) return error;
    if (package->empty()) *package = path;
  }
  return package->empty() ? ERROR_RESOURCE_DATA_NOT_FOUND : ERROR_SUCCESS;
}

void RemovePackage(const Archive& archive, const std::wstring& folder) {
  for (const ArchiveEntry& entry : archive.entries()) {
    if (entry.group == kPackageGroup) {
      (void)util::RemoveFile(util::WithBackslash(folder) + entry.name);
    }
  }
  (void)util::RemoveFolder(folder);
}

// In the folder that this program was started in, to which the user's own paths are relative.
DWORD Run(const std::wstring& program, const std::wstring& arguments, DWORD* exit_code) {
  std::wstring line = L"\"" + program + L"\" " + arguments;
  PROCESS_INFORMATION info = {};
  BOOL is_started = FALSE;
  if (util::IsNtFamily()) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    is_started = ::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                  nullptr, &startup, &info);
  } else {
    STARTUPINFOA startup = {};
    startup.cb = sizeof(startup);
    is_started = ::CreateProcessA(util::ToAnsi(program).c_str(), util::ToAnsi(line).data(), nullptr,
                                  nullptr, FALSE, 0, nullptr, nullptr, &startup, &info);
  }
  if (!is_started) return ::GetLastError();
  const util::UniqueKernelHandle thread(info.hThread);
  const util::UniqueKernelHandle process(info.hProcess);
  ::WaitForSingleObject(process.Get(), INFINITE);
  ::GetExitCodeProcess(process.Get(), exit_code);
  return ERROR_SUCCESS;
}

}  // namespace

DWORD RunInstallation(const std::wstring& own_path, std::wstring_view users_arguments,
                      DWORD* exit_code) {
  Archive archive;
  if (const DWORD error = archive.Open(own_path)) return error;
  const std::wstring folder = MakeOwnTempFolder();
  if (folder.empty()) return ::GetLastError();
  std::wstring package;
  DWORD error = UnpackPackage(archive, folder, &package);
  if (error == ERROR_SUCCESS) {
    const std::wstring arguments =
        InstallArguments(package, own_path, folder + kPrerequisitesFolder, users_arguments);
    error = Run(util::SystemFolder() + kInstallerProgram, arguments, exit_code);
  }
  if (error != ERROR_SUCCESS) RemovePackage(archive, folder);
  return error;
}

}  // namespace setup
