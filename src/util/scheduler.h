#ifndef UTIL_SCHEDULER_H_
#define UTIL_SCHEDULER_H_

#include <windows.h>

#include <string>

// Jobs of the system's task scheduler, in the form that the oldest systems with one understand.
// COM is set up on the calling thread for the length of a call where nobody did so before.
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

// Starts the scheduler unless it runs already, without waiting until it does. Answers 0 or a system
// error number, as on systems where only an administrator may start it.
DWORD EnsureSchedulerRuns();

// Makes the job, or makes an existing one of that name over. False when any step failed; nothing is
// stored then.
[[nodiscard]] bool CreateScheduledJob(const ScheduledJob& job);

// False when there is no such job, too.
[[nodiscard]] bool DeleteScheduledJob(const std::wstring& name);

}  // namespace util

#endif  // UTIL_SCHEDULER_H_
