#include "util/process.h"

#include <iterator>
#include <utility>

#include "util/com.h"
#include "util/os_family.h"
#include "util/text.h"

namespace util {

ShellCalls g_shell_calls;

namespace {

// The wide or the ANSI form of the shell's call.
template <typename Text>
struct Shell;
template <>
struct Shell<std::wstring> {
  using Info = SHELLEXECUTEINFOW;
  static constexpr wchar_t kOpen[] = L"open";
  static constexpr wchar_t kLongPathPrefix[] = L"\\\\?\\";
  static bool Execute(Info* info) { return g_shell_calls.execute_wide(info) != FALSE; }
};
template <>
struct Shell<std::string> {
  using Info = SHELLEXECUTEINFOA;
  static constexpr char kOpen[] = "open";
  static constexpr char kLongPathPrefix[] = "\\\\?\\";
  static bool Execute(Info* info) { return g_shell_calls.execute_narrow(info) != FALSE; }
};

// With `process`, gives what was started.
template <typename Text>
bool Run(typename Shell<Text>::Info info, bool hidden, UniqueKernelHandle* process) {
  info.cbSize = sizeof(info);
  // The shell's own error boxes stay away: whoever asked for the start reports the failure.
  info.fMask |= SEE_MASK_FLAG_NO_UI | SEE_MASK_NOASYNC;
  info.nShow = hidden ? SW_HIDE : SW_SHOWNORMAL;
  bool is_started = false;
  DWORD error = NO_ERROR;
  {
    const ComScope com;
    is_started = Shell<Text>::Execute(&info);
    error = ::GetLastError();
  }
  ::SetLastError(error);  // The end of COM may have left another.
  if (!is_started) return false;
  UniqueKernelHandle started(info.hProcess);
  if (process != nullptr) *process = std::move(started);
  return true;
}

// Compatibility: the folder keeps the long-path prefix, the file is named without it. Cut from the
// wide text: in some code pages the second byte of a character is a backslash.
std::wstring FolderOf(const std::wstring& file) {
  const size_t slash = file.rfind(L'\\');
  return slash == std::wstring::npos ? std::wstring() : file.substr(0, slash);
}

template <typename Text>
bool Launch(const Text& file, const Text& folder, const Text& arguments, bool hidden,
            UniqueKernelHandle* process) {
  constexpr auto& kPrefix = Shell<Text>::kLongPathPrefix;
  typename Shell<Text>::Info info = {};
  info.fMask = process != nullptr ? SEE_MASK_NOCLOSEPROCESS : 0;
  info.lpVerb = Shell<Text>::kOpen;
  info.lpFile = file.c_str() + (file.starts_with(kPrefix) ? std::size(kPrefix) - 1 : 0);
  info.lpParameters = arguments.empty() ? nullptr : arguments.c_str();
  info.lpDirectory = folder.c_str();
  return Run<Text>(info, hidden, process);
}

bool Launch(const std::wstring& file, const std::wstring& arguments, bool hidden,
            UniqueKernelHandle* process) {
  if (IsNtFamily()) return Launch(file, FolderOf(file), arguments, hidden, process);
  return Launch(ToAnsi(file), ToAnsi(FolderOf(file)), ToAnsi(arguments), hidden, process);
}

bool Launch(const std::string& file, const std::string& arguments, bool hidden,
            UniqueKernelHandle* process) {
  return Launch(file, ToAnsi(FolderOf(ToWide(file))), arguments, hidden, process);
}

template <typename Text>
bool LaunchAndWait(const Text& file, const Text& arguments, DWORD* exit_code, bool hidden) {
  UniqueKernelHandle process;
  if (!Launch(file, arguments, hidden, exit_code != nullptr ? &process : nullptr)) return false;
  WaitForExit(process.Get(), exit_code);
  return true;
}

template <typename Text>
bool Start(const Text& file, const Text& arguments, bool wait) {
  typename Shell<Text>::Info info = {};
  info.fMask = SEE_MASK_NOCLOSEPROCESS;
  info.lpFile = file.c_str();
  info.lpParameters = arguments.c_str();
  UniqueKernelHandle process;
  if (!Run<Text>(info, /*hidden=*/true, &process)) return false;
  if (wait) WaitForExit(process.Get(), nullptr);
  return true;
}

bool NeedsQuotes(const std::wstring& item) {
  return item.find(L' ') != std::wstring::npos && item.front() != L'"' && item.back() != L'"';
}

}  // namespace

bool LaunchProgram(const std::wstring& file, const std::wstring& arguments, DWORD* exit_code,
                   bool hidden) {
  return LaunchAndWait(file, arguments, exit_code, hidden);
}

bool LaunchProgram(const std::string& file, const std::string& arguments, DWORD* exit_code,
                   bool hidden) {
  return LaunchAndWait(file, arguments, exit_code, hidden);
}

bool StartProgram(const std::wstring& file, const std::wstring& arguments, bool hidden,
                  UniqueKernelHandle* process) {
  return Launch(file, arguments, hidden, process);
}

bool StartProgram(const std::string& file, const std::string& arguments, bool hidden,
                  UniqueKernelHandle* process) {
  return Launch(file, arguments, hidden, process);
}

void WaitForExit(HANDLE process, DWORD* exit_code) {
  if (process == nullptr) return;
  ::WaitForSingleObject(process, INFINITE);
  if (exit_code != nullptr) ::GetExitCodeProcess(process, exit_code);
}

bool StartHidden(const std::wstring& file, const std::wstring& arguments, bool wait) {
  return Start(file, arguments, wait);
}

bool StartHidden(const std::string& file, const std::string& arguments, bool wait) {
  return Start(file, arguments, wait);
}

std::wstring JoinArguments(const std::vector<std::wstring>& items) {
  std::wstring line;
  for (const std::wstring& item : items) {
    if (item.empty()) break;
    if (!line.empty()) line += L' ';
    line += NeedsQuotes(item) ? L'"' + item + L'"' : item;
  }
  return line;
}

}  // namespace util
