#ifndef PREREQ_RESUME_H_
#define PREREQ_RESUME_H_

#include <string>

#include "msi/session.h"
#include "util/scheduler.h"

// A prerequisite's setup may restart the machine before the product is installed. A job that runs
// at the user's next logon, or a value of the user's `Run` key where no job can be made, then
// starts the installation again. Each is named after the product code.
namespace prereq {

struct ResumeCommand {
  std::wstring program;    // Full path, not quoted. Empty: there is nothing to start.
  std::wstring arguments;  // The package, the marker "QX_RESUME=1" and the carried properties.
};

// What starts the installation again at the next logon.
enum class Registration { kNone, kJob, kLogonTask, kRunValue };

// Makes the installation go on after a restart that a prerequisite's setup asks for. Failures are
// silent: the installation goes on whatever happens here. The installer's log says what was made.
void RegisterResume(const msi::InstallerSession& session);

// What starts this installation again with the choices made so far. Without a program when nobody
// knows it, or when the installer refuses to say which package or product is meant.
ResumeCommand BuildResumeCommand(const msi::InstallerSession& session);

// The job as the first interface of the scheduler takes it: hidden, at the next logon of `account`
// ("domain\user"), starting to count now.
util::ScheduledJob ResumeJob(const std::wstring& product_code, const ResumeCommand& command,
                             const std::wstring& account);

// Makes the job by `make_job`, the first interface of the scheduler. Where that denies access,
// makes it by the second one; where no job can be made, writes the `Run` value. The product code
// names each; without one or without a program nothing is made.
Registration RegisterResumeJob(
    const std::wstring& product_code, const ResumeCommand& command, const std::wstring& account,
    HRESULT (*make_job)(const util::ScheduledJob& job) = &util::CreateScheduledJob);

// Takes the job and the `Run` value back. Without a job the answer is true and a `Run` value stays;
// otherwise it tells whether there was a `Run` value to remove.
bool RemoveResumeRegistration(const std::wstring& product_code);

}  // namespace prereq

#endif  // PREREQ_RESUME_H_
