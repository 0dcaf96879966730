#ifndef UTIL_PROCESS_H_
#define UTIL_PROCESS_H_

#include <windows.h>
#include <shellapi.h>

#include <string>
#include <vector>

#include "util/unique_handle.h"

// Starting other programs through the shell, which is given COM for the length of a start and ends
// all that belongs to it before it returns: the installer's thread has no message loop to go on
// with. Nothing is shown on failure: the answer is false and
// GetLastError() holds the reason. Process handles are closed before the call returns, but for the
// one that StartProgram() gives away.
namespace util {

// Starts `file` (a leading "\\?\" is left off) with the verb "open" in its own folder. With
// `exit_code` the call waits, without a time limit, for the program to end and stores its code,
// which stays as it was when the shell gives no process; without it, it does not wait. `hidden`
// starts it without a visible window. The wide form uses the ANSI shell call on the older
// operating-system family; the narrow form always does.
[[nodiscard]] bool LaunchProgram(const std::wstring& file, const std::wstring& arguments,
                                 DWORD* exit_code, bool hidden);
[[nodiscard]] bool LaunchProgram(const std::string& file, const std::string& arguments,
                                 DWORD* exit_code, bool hidden);

// The first half of LaunchProgram(): `process`, the caller's own, is what was started, and stays
// empty when the shell gives no process.
[[nodiscard]] bool StartProgram(const std::wstring& file, const std::wstring& arguments,
                                bool hidden, UniqueKernelHandle* process);
[[nodiscard]] bool StartProgram(const std::string& file, const std::string& arguments, bool hidden,
                                UniqueKernelHandle* process);
// The second half: waits, without a time limit, for the end of `process`, which is borrowed and may
// be null, and stores its code, which stays as it was when there is none.
void WaitForExit(HANDLE process, DWORD* exit_code);

// Starts `file` hidden, with the default verb and no folder of its own; `wait` waits for its end
// without a time limit. The wide form calls the wide shell function on every system, the narrow
// form the ANSI one: the caller chooses.
[[nodiscard]] bool StartHidden(const std::wstring& file, const std::wstring& arguments, bool wait);
[[nodiscard]] bool StartHidden(const std::string& file, const std::string& arguments, bool wait);

// The shell's calls, which a test can replace.
struct ShellCalls {
  decltype(&::ShellExecuteExW) execute_wide = &::ShellExecuteExW;
  decltype(&::ShellExecuteExA) execute_narrow = &::ShellExecuteExA;
};
extern ShellCalls g_shell_calls;

// Joins the items up to the first empty one with single blanks. An item that contains a blank and
// neither begins nor ends with a double quote is put in double quotes.
std::wstring JoinArguments(const std::vector<std::wstring>& items);

}  // namespace util

#endif  // UTIL_PROCESS_H_
