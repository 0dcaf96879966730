#include "util/process.h"

#include <shellapi.h>

#include <iterator>

#include "util/os_family.h"
#include "util/text.h"
#include "util/unique_handle.h"

namespace util {
namespace {

struct WideShell {
  using Info = SHELLEXECUTEINFOW;
  using Text = std::wstring;
  static constexpr wchar_t kOpen[] = L"open";
  static constexpr wchar_t kLongPathPrefix[] = L"\\\\?\\";
  static bool Execute(Info* info) { return ::ShellExecuteExW(info) != FALSE; }
};

struct AnsiShell {
  using Info = SHELLEXECUTEINFOA;
  using Text = std::string;
  static constexpr char kOpen[] = "open";
  static constexpr char kLongPathPrefix[] = "\\\\?\\";
  static bool Execute(Info* info) { return ::ShellExecuteExA(info) != FALSE; }
};

// The shell's own error boxes stay away: whoever asked for the start reports the failure.
constexpr ULONG kQuiet = SEE_MASK_FLAG_NO_UI;

// The folder keeps the long-path prefix on purpose; only the file is named without it. Cut from the
// wide text: in some code pages the second byte of a letter is a backslash.
std::wstring FolderOf(const std::wstring& file) {
  const size_t slash = file.rfind(L'\\');
  return slash == std::wstring::npos ? std::wstring() : file.substr(0, slash);
}

template <typename Shell>
bool Launch(const typename Shell::Text& file, const typename Shell::Text& folder,
            const typename Shell::Text& arguments, DWORD* exit_code, bool hidden) {
  typename Shell::Info info = {};
  info.cbSize = sizeof(info);
  info.fMask = kQuiet | (exit_code != nullptr ? SEE_MASK_NOCLOSEPROCESS : 0);
  info.lpVerb = Shell::kOpen;
  const bool is_long = file.starts_with(Shell::kLongPathPrefix);
  info.lpFile = file.c_str() + (is_long ? std::size(Shell::kLongPathPrefix) - 1 : 0);
  info.lpParameters = arguments.empty() ? nullptr : arguments.c_str();
  info.lpDirectory = folder.c_str();
  info.nShow = hidden ? SW_HIDE : SW_SHOWNORMAL;
  if (!Shell::Execute(&info)) return false;

  const UniqueKernelHandle process(info.hProcess);
  if (exit_code != nullptr && process) {
    ::WaitForSingleObject(process.Get(), INFINITE);
    ::GetExitCodeProcess(process.Get(), exit_code);
  }
  return true;
}

template <typename Shell>
bool Start(const typename Shell::Text& file, const typename Shell::Text& arguments, bool wait) {
  typename Shell::Info info = {};
  info.cbSize = sizeof(info);
  info.fMask = kQuiet | SEE_MASK_NOCLOSEPROCESS;
  info.lpFile = file.c_str();
  info.lpParameters = arguments.c_str();
  info.nShow = SW_HIDE;
  if (!Shell::Execute(&info)) return false;

  const UniqueKernelHandle process(info.hProcess);
  if (wait && process) ::WaitForSingleObject(process.Get(), INFINITE);
  return true;
}

bool NeedsQuotes(const std::wstring& item) {
  return item.find(L' ') != std::wstring::npos && item.front() != L'"' && item.back() != L'"';
}

}  // namespace

bool LaunchProgram(const std::wstring& file, const std::wstring& arguments, DWORD* exit_code,
                   bool hidden) {
  if (IsNtFamily()) return Launch<WideShell>(file, FolderOf(file), arguments, exit_code, hidden);
  return Launch<AnsiShell>(ToAnsi(file), ToAnsi(FolderOf(file)), ToAnsi(arguments), exit_code,
                           hidden);
}

bool LaunchProgram(const std::string& file, const std::string& arguments, DWORD* exit_code,
                   bool hidden) {
  return Launch<AnsiShell>(file, ToAnsi(FolderOf(ToWide(file))), arguments, exit_code, hidden);
}

bool StartHidden(const std::wstring& file, const std::wstring& arguments, bool wait) {
  return Start<WideShell>(file, arguments, wait);
}

bool StartHidden(const std::string& file, const std::string& arguments, bool wait) {
  return Start<AnsiShell>(file, arguments, wait);
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
