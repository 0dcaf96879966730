// The setup of a sample prerequisite. It takes words of the form key=value:
//   name=Runtime   what it installs
//   version=2.1    the version it registers
//   exit=3010      the exit code, 0 when not given
//   restart=yes    asks for a restart of the machine and never returns from it
// It leaves a registry key and a file as an installed program would, and a line in
// sample-setups.log in the temporary folder that says how it was called, and on which family of
// operating systems when that is the older one.

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::string Word(const std::string& line, const std::string& key) {
  const size_t start = (" " + line).find(" " + key + "=");
  if (start == std::string::npos) return {};
  const size_t value = start + key.size() + 1;
  const bool quoted = value < line.size() && line[value] == '"';
  const size_t end = line.find(quoted ? '"' : ' ', value + (quoted ? 1 : 0));
  return line.substr(value + (quoted ? 1 : 0),
                     end == std::string::npos ? end : end - value - quoted);
}

std::string Environment(const char* name) {
  char value[MAX_PATH] = "";
  ::GetEnvironmentVariableA(name, value, MAX_PATH);
  return value;
}

// Windows 95, 98 and Me.
bool IsOlderFamily() {
  OSVERSIONINFOA version = {};
  version.dwOSVersionInfoSize = sizeof(version);
  return ::GetVersionExA(&version) && version.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS;
}

bool WriteText(const std::string& path, const std::string& text, const char* mode) {
  std::FILE* const file = std::fopen(path.c_str(), mode);
  if (file == nullptr) return false;
  const bool written = std::fputs(text.c_str(), file) >= 0;
  return std::fclose(file) == 0 && written;
}

bool Register(const std::string& name, const std::string& version) {
  HKEY key = nullptr;
  const std::string path = "Software\\Sample Maker\\Prerequisites\\" + name;
  if (::RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                        nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const LONG error =
      ::RegSetValueExA(key, "Version", 0, REG_SZ, reinterpret_cast<const BYTE*>(version.c_str()),
                       static_cast<DWORD>(version.size() + 1));
  ::RegCloseKey(key);
  return error == ERROR_SUCCESS;
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR arguments, int) {
  const std::string line = arguments;
  const std::string name = Word(line, "name");
  const std::string version = Word(line, "version");
  const int exit_code = std::atoi(Word(line, "exit").c_str());

  char folder[MAX_PATH] = "";
  ::GetCurrentDirectoryA(MAX_PATH, folder);
  WriteText(Environment("TEMP") + "\\sample-setups.log",
            name + ": called with [" + line + "] in [" + folder + "], exit code " +
                std::to_string(exit_code) + (IsOlderFamily() ? ", on the older family" : "") + "\n",
            "a");

  char self[MAX_PATH] = "";
  ::GetModuleFileNameA(nullptr, self, MAX_PATH);
  const std::string target = Environment("ProgramFiles") + "\\Sample Prerequisites";
  ::CreateDirectoryA(target.c_str(), nullptr);
  const bool installed =
      ::CopyFileA(self, (target + "\\" + name + ".exe").c_str(), FALSE) && Register(name, version);
  if (Word(line, "restart") == "yes") {
    // Whoever plays the machine looks for this file; the restart then takes this program with it.
    WriteText(Environment("TEMP") + "\\sample-restart", name, "w");
    ::Sleep(INFINITE);
  }
  return installed ? exit_code : ERROR_INSTALL_FAILURE;
}
