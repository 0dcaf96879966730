#include "appsearch/installer_folders.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <iterator>

#include "appsearch/registry_values.h"
#include "util/ansi_text.h"
#include "util/files.h"
#include "util/find_function.h"
#include "util/os_family.h"
#include "util/sized_text.h"
#include "util/system_library.h"
#include "util/text.h"
#include "util/unique_handle.h"
#include "util/wow64.h"

namespace appsearch {
namespace {

using SystemRead = UINT(WINAPI*)(char* buffer, UINT size);

struct ShellFolder {
  std::string_view name;
  int id;
};

constexpr ShellFolder kShellFolders[] = {
    {"AdminToolsFolder", CSIDL_ADMINTOOLS},
    {"AppDataFolder", CSIDL_APPDATA},
    {"CommonAppDataFolder", CSIDL_COMMON_APPDATA},
    {"CommonFilesFolder", CSIDL_PROGRAM_FILES_COMMON},
    {"DesktopFolder", CSIDL_DESKTOPDIRECTORY},
    {"FavoritesFolder", CSIDL_FAVORITES},
    {"FontsFolder", CSIDL_FONTS},
    {"LocalAppDataFolder", CSIDL_LOCAL_APPDATA},
    {"MyPicturesFolder", CSIDL_MYPICTURES},
    {"NetHoodFolder", CSIDL_NETHOOD},
    {"PersonalFolder", CSIDL_PERSONAL},
    {"PrintHoodFolder", CSIDL_PRINTHOOD},
    {"ProgramFilesFolder", CSIDL_PROGRAM_FILES},
    {"ProgramMenuFolder", CSIDL_PROGRAMS},
    {"RecentFolder", CSIDL_RECENT},
    {"SendToFolder", CSIDL_SENDTO},
    {"StartMenuFolder", CSIDL_STARTMENU},
    {"StartupFolder", CSIDL_STARTUP},
    {"TemplateFolder", CSIDL_TEMPLATES},
};

std::optional<std::wstring> AsFolder(std::wstring path) {
  if (path.empty()) return std::nullopt;
  return util::WithBackslash(std::move(path));
}
std::optional<std::wstring> AsFolder(const std::string& path) {
  return AsFolder(util::ToWide(path));
}

// `name` is that of the wide or the ANSI form. Older shells get this function
// from a library of its own, which came with the installer.
template <typename Character>
std::basic_string<Character> ReadShellFolder(int id, const char* name) {
  using GetFolderPath = HRESULT(WINAPI*)(HWND, int, HANDLE, DWORD, Character*);
  util::UniqueModule library;
  auto get = util::FindFunction<GetFolderPath>(::GetModuleHandleA("shell32.dll"), name);
  if (get == nullptr) {
    library = util::LoadSystemLibrary("shfolder.dll");
    if (library) get = util::FindFunction<GetFolderPath>(library.Get(), name);
  }
  Character path[MAX_PATH] = {};
  const bool found = get != nullptr && get(nullptr, id, nullptr, SHGFP_TYPE_CURRENT, path) == S_OK;
  return found ? std::basic_string<Character>(path) : std::basic_string<Character>();
}

std::string Read(SystemRead read) { return util::ReadSizedText(read).value_or(""); }

// A 32-bit process is only told its own system folder's 64-bit name.
std::string Read32BitSystemFolder() {
  const auto read = util::FindFunction<SystemRead>(::GetModuleHandleA("kernel32.dll"),
                                                   "GetSystemWow64DirectoryA");
  const std::string folder = read != nullptr ? Read(read) : std::string();
  return folder.empty() ? Read(&::GetSystemDirectoryA) : folder;
}

// The shell tells a 32-bit process nothing of the 64-bit programs' folders.
std::string Read64BitFolder(const char* value) {
  const util::UniqueRegistryKey key =
      OpenKey("HKLM\\Software\\Microsoft\\Windows\\CurrentVersion", /*view64=*/true);
  return key ? ReadValueText(key.Get(), value).value_or("") : std::string();
}

}  // namespace

std::optional<std::wstring> FindInstallerFolder(std::string_view name) {
  const auto* const shell_folder =
      std::find_if(std::begin(kShellFolders), std::end(kShellFolders),
                   [&](const ShellFolder& folder) { return folder.name == name; });
  if (shell_folder != std::end(kShellFolders)) {
    return util::IsNtFamily()
               ? AsFolder(ReadShellFolder<wchar_t>(shell_folder->id, "SHGetFolderPathW"))
               : AsFolder(ReadShellFolder<char>(shell_folder->id, "SHGetFolderPathA"));
  }
  if (name == "WindowsFolder") return AsFolder(Read(&::GetWindowsDirectoryA));
  if (name == "WindowsVolume") return AsFolder(Read(&::GetWindowsDirectoryA).substr(0, 2));
  if (name == "SystemFolder") return AsFolder(Read32BitSystemFolder());
  if (name == "System16Folder") {
    const std::string windows = Read(&::GetWindowsDirectoryA);
    return AsFolder(windows.empty() ? windows : util::WithBackslash(windows) + "system");
  }
  if (name == "TempFolder") return AsFolder(util::ReadTempFolder());
  if (!util::Is64BitSystem()) return std::nullopt;
  if (name == "System64Folder") return AsFolder(Read(&::GetSystemDirectoryA));
  if (name == "ProgramFiles64Folder") return AsFolder(Read64BitFolder("ProgramFilesDir"));
  if (name == "CommonFiles64Folder") return AsFolder(Read64BitFolder("CommonFilesDir"));
  return std::nullopt;
}

}  // namespace appsearch
