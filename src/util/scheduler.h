#ifndef UTIL_SCHEDULER_H_
#define UTIL_SCHEDULER_H_

#include <windows.h>

#include <string>

// Jobs of the system's task scheduler, through its first interface, which the oldest systems with a
// scheduler understand, or its second, which Windows has since Vista. COM is set up on the calling
// thread for the length of a call where nobody did so before.
namespace util {

// A job that runs when its user logs on.
struct ScheduledJob {
  std::wstring name;
  std::wstring program;
  std::wstring arguments;
  std::wstring account = {};  // "domain\user", set without a password.
  DWORD flags = 0;  // TASK_FLAG_...; an account without a password needs "only if logged on".
  // First possible run, by the minute. The scheduler takes it as local time.
  SYSTEMTIME start = {};
};

// Starts the scheduler unless it runs already. The service of Windows NT 4.0 to 11 is waited for,
// at most 10 s. Answers 0 or a system error number, as on systems where only an administrator may
// start it, or ERROR_SERVICE_REQUEST_TIMEOUT.
DWORD EnsureSchedulerRuns();

// Makes the job through the first interface, or makes an existing one of that name over. Answers
// the HRESULT of the first step that failed; nothing is stored then. E_ACCESSDENIED is what a user
// without elevation gets since Vista: the trigger cannot name whose logon is meant.
[[nodiscard]] HRESULT CreateScheduledJob(const ScheduledJob& job);

// The same through the second interface, where the trigger names the job's account: hidden, without
// a time limit, also on batteries, while that user is logged on. The flags do not count. False when
// any step failed, also where the system has no such interface; nothing is stored then. The job is
// written as XML, which has no room for the control characters below U+0020 but tab and line ends.
[[nodiscard]] bool CreateLogonTask(const ScheduledJob& job);
// That XML.
[[nodiscard]] std::wstring LogonTaskXml(const ScheduledJob& job);

// Of the first and of the second interface. False when there is no such job, too.
[[nodiscard]] bool DeleteScheduledJob(const std::wstring& name);
[[nodiscard]] bool DeleteLogonTask(const std::wstring& name);

}  // namespace util

#endif  // UTIL_SCHEDULER_H_
