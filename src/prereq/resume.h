#ifndef PREREQ_RESUME_H_
#define PREREQ_RESUME_H_

#include <string>

#include "msi/session.h"

// A prerequisite's setup may restart the machine before the product is installed. A job that runs
// at the user's next logon, or a value of the user's `Run` key where no job can be made, then
// starts the installation again. Both are named after the product code.
namespace prereq {

struct ResumeCommand {
  std::wstring program;    // Full path, not quoted.
  std::wstring arguments;  // The package, the marker "QX_RESUME=1" and the carried properties.
};

// Makes the installation go on after a restart that a prerequisite's setup asks for. Failures are
// silent: the installation goes on whatever happens here.
void RegisterResume(const msi::InstallerSession& session);

// What starts this installation again with the choices made so far.
ResumeCommand BuildResumeCommand(const msi::InstallerSession& session);

// Makes the job, which `account` ("domain\user") runs; where that fails, writes the `Run` value.
// True when either was done. The product code names both.
bool RegisterResumeJob(const std::wstring& product_code, const ResumeCommand& command,
                       const std::wstring& account);

// Takes the job and the `Run` value back. Without a job the answer is true and a `Run` value stays;
// otherwise it tells whether there was a `Run` value to remove.
bool RemoveResumeRegistration(const std::wstring& product_code);

}  // namespace prereq

#endif  // PREREQ_RESUME_H_
