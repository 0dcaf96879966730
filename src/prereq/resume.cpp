#include "prereq/resume.h"

#include <windows.h>
#include <mstask.h>

#include <algorithm>

#include "contract/properties.h"
#include "msi/messages.h"
#include "prereq/carried_properties.h"
#include "util/files.h"
#include "util/process.h"
#include "util/registry.h"
#include "util/scheduler.h"
#include "util/text.h"

namespace prereq {
namespace {

constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

// Empty when the system does not say its folder.
std::wstring InstallerProgramPath() {
  const std::wstring folder = util::SystemFolder();
  return folder.size() > 1 ? folder + L"msiexec.exe" : std::wstring();
}

// The scheduler's own terms.
SYSTEMTIME CurrentLocalTime() {
  SYSTEMTIME time = {};
  ::GetLocalTime(&time);
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
  const std::wstring product_code = session.GetProperty(contract::kProductCodeProperty);
  const ResumeCommand command = BuildResumeCommand(session);
  const Registration registration = RegisterResumeJob(
      product_code, command, msi::FormatText(session, L"[%UserDomain]\\[LogonUser]"));
  switch (registration) {
    case Registration::kNone:
      msi::Log(session, L"nothing starts the installation again after a restart");
      break;
    case Registration::kJob:
    case Registration::kLogonTask:
      msi::Log(session, L"after a restart the job " + product_code + L" starts " + command.program);
      break;
    case Registration::kRunValue:
      msi::Log(session,
               L"after a restart the Run value " + product_code + L" starts " + command.program);
      break;
  }
}

ResumeCommand BuildResumeCommand(const msi::InstallerSession& session) {
  bool is_known = true;
  const auto read = [&](const wchar_t* name) {
    std::wstring value;
    is_known = session.TryGetProperty(name, &value) && is_known;
    return value;
  };
  ResumeCommand command;
  std::wstring package = L'"' + read(contract::kOriginalDatabaseProperty) + L'"';
  if (!read(contract::kExternalUiProperty).empty()) {
    // The package's setup executable shows an interface of its own.
    command.program = read(contract::kSetupPathProperty);
  } else {
    command.program = InstallerProgramPath();
    if (!read(contract::kInstalledProperty).empty()) package = read(contract::kProductCodeProperty);
  }
  // Any of them read as empty would start something else.
  if (!is_known) command.program.clear();
  // No blank before the marker: the closing quote or brace ends the package's token.
  command.arguments = L"/i " + package + contract::kResumeProperty + L"=1 " +
                      util::JoinArguments(CarriedProperties(session).Collect());
  return command;
}

util::ScheduledJob ResumeJob(const std::wstring& product_code, const ResumeCommand& command,
                             const std::wstring& account) {
  return {.name = product_code + L".job",
          .program = command.program,
          .arguments = command.arguments,
          .account = account,
          .flags = TASK_FLAG_HIDDEN | TASK_FLAG_RUN_ONLY_IF_LOGGED_ON,
          .start = CurrentLocalTime()};
}

Registration RegisterResumeJob(const std::wstring& product_code, const ResumeCommand& command,
                               const std::wstring& account,
                               HRESULT (*make_job)(const util::ScheduledJob& job)) {
  if (product_code.empty() || command.program.empty()) return Registration::kNone;
  // Its reason does not matter: without a scheduler no job can be made.
  (void)util::EnsureSchedulerRuns();
  util::ScheduledJob job = ResumeJob(product_code, command, account);
  const HRESULT made = make_job(job);
  if (SUCCEEDED(made)) return Registration::kJob;
  if (made == E_ACCESSDENIED) {
    job.name = product_code;
    // The carried lists of files hold a delimiter that XML cannot say.
    std::replace(job.arguments.begin(), job.arguments.end(), contract::kListDelimiter,
                 contract::kPrintableListDelimiter);
    if (util::CreateLogonTask(job)) return Registration::kLogonTask;
  }
  return WriteRunValue(product_code, command) ? Registration::kRunValue : Registration::kNone;
}

bool RemoveResumeRegistration(const std::wstring& product_code) {
  (void)util::EnsureSchedulerRuns();
  // Deletion takes the bare name. Compatibility: without a job the `Run` value is not looked for,
  // so one that was written because no job could be made stays behind.
  const bool had_job = util::DeleteScheduledJob(product_code);
  const bool had_task = util::DeleteLogonTask(product_code);
  if (!had_job && !had_task) return true;
  const util::UniqueRegistryKey key =
      util::OpenRegistryKey(HKEY_CURRENT_USER, kRunKey, KEY_SET_VALUE);
  return key && util::RemoveRegistryValue(key.Get(), product_code);
}

}  // namespace prereq
