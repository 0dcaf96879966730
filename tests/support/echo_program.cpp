// A setup program for the tests. Each run appends a line to the file named like the program with
// ".log" after it: command line, working folder and window state, with bars between them. Words of
// its command line:
//   exit=N     ends with that code
//   wait=NAME  logs only when that event is set, for at most ten seconds
//   done=NAME  sets that event at the end

#include <windows.h>

#include <cstdlib>
#include <string>

#include "util/unique_handle.h"

namespace {

std::wstring Word(const std::wstring& line, const std::wstring& name) {
  const size_t start = line.find(name + L"=");
  if (start == line.npos) return {};
  const size_t value = start + name.size() + 1;
  return line.substr(value, line.find(L' ', value) - value);
}

util::UniqueKernelHandle OpenNamedEvent(const std::wstring& name) {
  if (name.empty()) return {};
  return util::UniqueKernelHandle(
      ::OpenEventW(EVENT_MODIFY_STATE | SYNCHRONIZE, FALSE, name.c_str()));
}

}  // namespace

int main() {
  const std::wstring line = ::GetCommandLineW();
  if (const auto event = OpenNamedEvent(Word(line, L"wait"))) {
    ::WaitForSingleObject(event.Get(), 10000);
  }

  wchar_t program[32768];
  ::GetModuleFileNameW(nullptr, program, 32768);
  wchar_t folder[32768];
  ::GetCurrentDirectoryW(32768, folder);
  STARTUPINFOW startup;
  ::GetStartupInfoW(&startup);
  const bool hidden = (startup.dwFlags & STARTF_USESHOWWINDOW) && startup.wShowWindow == SW_HIDE;
  const std::wstring entry = line + L"|" + folder + L"|" + (hidden ? L"hidden" : L"shown") + L"\n";
  {
    const util::UniqueFile log(::CreateFileW((std::wstring(program) + L".log").c_str(),
                                             FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                                             OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    ::WriteFile(log.Get(), entry.data(), static_cast<DWORD>(entry.size() * sizeof(wchar_t)),
                &written, nullptr);
  }

  if (const auto event = OpenNamedEvent(Word(line, L"done"))) ::SetEvent(event.Get());
  return static_cast<int>(std::wcstoul(Word(line, L"exit").c_str(), nullptr, 10));
}
