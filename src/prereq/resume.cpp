#include "prereq/resume.h"

#include <windows.h>
#include <mstask.h>

#include "contract/properties.h"
#include "prereq/carried_properties.h"
#include "util/files.h"
#include "util/process.h"
#include "util/registry.h"
#include "util/scheduler.h"
#include "util/text.h"

namespace prereq {
namespace {

constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

std::wstring InstallerProgramPath() { return util::SystemFolder() + L"msiexec.exe"; }

// Compatibility: UTC, though the scheduler reads it as local time; docs/resume.md tells what
// follows.
SYSTEMTIME CurrentUniversalTime() {
  SYSTEMTIME time = {};
  ::GetSystemTime(&time);
  return time;
}

bool WriteRunValue(const std::wstring& name, const ResumeCommand& command) {
  const util::UniqueRegistryKey key =
      util::CreateRegistryKey(HKEY_CURRENT_USER, kRunKey, KEY_SET_VALUE);
  // Compatibility: the program goes in without quotes.
  return key &&
         util::WriteRegistryText(key.Get(), name, command.program + L' ' + command.arguments);
}

}  // namespace

void RegisterResume(const msi::InstallerSession& session) {
  const ResumeCommand command = BuildResumeCommand(session);
  // Failures are silent: the installation goes on whatever happens here.
  (void)RegisterResumeJob(session.GetProperty(contract::kProductCodeProperty), command,
                          msi::FormatText(session, L"[%UserDomain]\\[LogonUser]"));
}

ResumeCommand BuildResumeCommand(const msi::InstallerSession& session) {
  ResumeCommand command;
  std::wstring package = L'"' + session.GetProperty(contract::kOriginalDatabaseProperty) + L'"';
  if (!session.GetProperty(contract::kExternalUiProperty).empty()) {
    // The package's setup executable shows an interface of its own.
    command.program = session.GetProperty(contract::kSetupPathProperty);
  } else {
    command.program = InstallerProgramPath();
    if (session.IsInstalled()) package = session.GetProperty(contract::kProductCodeProperty);
  }
  // No blank before the marker: the closing quote or brace ends the package's token.
  command.arguments = L"/i " + package + contract::kResumeProperty + L"=1 " +
                      util::JoinArguments(CarriedProperties(session).Collect());
  return command;
}

bool RegisterResumeJob(const std::wstring& product_code, const ResumeCommand& command,
                       const std::wstring& account) {
  // Its reason does not matter: without a scheduler no job can be made.
  (void)util::EnsureSchedulerRuns();
  const util::ScheduledJob job = {.name = product_code + L".job",
                                  .program = command.program,
                                  .arguments = command.arguments,
                                  .account = account,
                                  .flags = TASK_FLAG_HIDDEN | TASK_FLAG_RUN_ONLY_IF_LOGGED_ON,
                                  .start = CurrentUniversalTime()};
  return util::CreateScheduledJob(job) || WriteRunValue(product_code, command);
}

bool RemoveResumeRegistration(const std::wstring& product_code) {
  (void)util::EnsureSchedulerRuns();
  // Deletion takes the bare name. Compatibility: without a job the `Run` value is not looked for,
  // so one that was written because no job could be made stays behind.
  if (!util::DeleteScheduledJob(product_code)) return true;
  const util::UniqueRegistryKey key =
      util::OpenRegistryKey(HKEY_CURRENT_USER, kRunKey, KEY_SET_VALUE);
  return key && util::RemoveRegistryValue(key.Get(), product_code);
}

}  // namespace prereq
