#include "prereq/install_phase.h"

#include <utility>

#include "contract/properties.h"
#include "msi/messages.h"
#include "prereq/file_check.h"
#include "prereq/prompts.h"
#include "prereq/resume.h"
#include "prereq/rows.h"
#include "prereq/work_folders.h"
#include "util/files.h"
#include "util/process.h"
#include "util/text.h"

namespace prereq {
namespace {

bool IsOfPass(const Prerequisite& prerequisite, InstallPass pass) {
  return prerequisite.is_after_product == (pass == InstallPass::kAfterProduct);
}

bool IsInPass(const msi::InstallerSession& session, const Prerequisite& prerequisite,
              InstallPass pass) {
  return IsOfPass(prerequisite, pass) && IsSelected(session, prerequisite);
}

// Whether the row counts for the bar. Tells the log about one that does not.
bool IsToRun(const msi::InstallerSession& session, const Prerequisite& prerequisite,
             InstallPass pass) {
  if (!IsOfPass(prerequisite, pass)) return false;  // The other action tells of it.
  if (const wchar_t* reason = ReasonToPassOver(session, prerequisite)) {
    LogAbout(session, prerequisite, kPassedOver, reason);
    return false;
  }
  if (util::FileExists(prerequisite.file_path)) return true;
  LogAbout(session, prerequisite, L"has no setup file: ", prerequisite.file_path);
  return false;
}

void ReportFailedLaunch(const msi::InstallerSession& session, const std::wstring& path,
                        DWORD error) {
  msi::MessageRecord report(1);
  report.Set(
      0, msi::AsTemplate(L"Failed to launch file: " + path + L" Error: " + util::ToDecimal(error)));
  report.Send(session, INSTALLMESSAGE_INFO);
  report.Send(session, INSTALLMESSAGE_ERROR);
}

// A work folder may be somebody else's, who can change what lies there.
DWORD CheckWorkFolder(const msi::InstallerSession& session, const Prerequisite& prerequisite) {
  const bool is_in_work_folder = prerequisite.location == Location::kDownloaded ||
                                 !session.GetProperty(contract::kFilesInsideProperty).empty();
  const std::wstring& path = prerequisite.file_path;
  return is_in_work_folder ? PrepareWorkFolder(path.substr(0, path.find_last_of(L"\\/")))
                           : NO_ERROR;
}

// `held` is the file as it was checked, if it was: closed as soon as the shell has started it, for
// a setup may replace itself.
void Launch(PrerequisiteManager* manager, const Prerequisite& prerequisite, util::UniqueFile held) {
  const msi::InstallerSession& session = manager->session();
  const std::wstring& path = prerequisite.file_path;
  const std::wstring arguments = msi::FormatText(session, prerequisite.arguments);
  manager->progress().BeginItem();
  if (msi::IsLogging(session)) {
    LogAbout(session, prerequisite, L"starts: ", path, L" ",
             msi::WithoutHiddenValues(session, arguments));
  }
  const DWORD started_at_ms = ::GetTickCount();
  util::UniqueKernelHandle process;
  DWORD error = CheckWorkFolder(session, prerequisite);
  if (error == NO_ERROR && !util::StartProgram(path, arguments, /*hidden=*/false, &process)) {
    error = ::GetLastError();
  }
  const bool launched = error == NO_ERROR;
  held.Reset();
  DWORD exit_code = 0;  // Not judged: whether the prerequisite is there, the verify phase tells.
  util::WaitForExit(process.Get(), &exit_code);
  manager->progress().FinishItem();
  if (launched) {
    const DWORD seconds = (::GetTickCount() - started_at_ms) / 1000;
    // Also 0 when the shell handed the file to a program that runs already.
    LogAbout(session, prerequisite, L"ended with exit code ", util::ToDecimal(exit_code),
             L" after seconds: ", util::ToDecimal(seconds));
    msi::SendActionDataDone(session, prerequisite.display_name);
  } else {
    ReportFailedLaunch(session, path, error);
  }
}

// False when the user refused to go on.
bool Install(PrerequisiteManager* manager, const Prerequisite& prerequisite) {
  const msi::InstallerSession& session = manager->session();
  util::UniqueFile held;
  // One that is absent is only named. Downloaded files were checked when they came.
  if (prerequisite.location != Location::kDownloaded && util::FileExists(prerequisite.file_path) &&
      !SetupFileMatches(session, prerequisite, &held)) {
    held.Reset();  // While the user thinks, the file may be mended.
    return AskAboutWrongFile(session, prerequisite);
  }
  msi::SendActionData(session, prerequisite.display_name);
  if (util::FileExists(prerequisite.file_path)) Launch(manager, prerequisite, std::move(held));
  return true;
}

}  // namespace

ActionEnd RunInstallPhase(PrerequisiteManager* manager, InstallPass pass) {
  const msi::InstallerSession& session = manager->session();
  manager->Announce(kInstallAction);
  const std::vector<Prerequisite> prerequisites = LoadPrerequisites(session);
  for (const Prerequisite& prerequisite : prerequisites) {
    if (IsToRun(session, prerequisite, pass)) manager->progress().Start(1, /*accumulate=*/true);
  }
  if (manager->progress().item_count() == 0) return ActionEnd::kDone;

  RegisterResume(session);
  for (const Prerequisite& prerequisite : prerequisites) {
    if (IsInPass(session, prerequisite, pass) && !Install(manager, prerequisite)) {
      return ActionEnd::kRefused;
    }
  }
  return ActionEnd::kDone;
}

}  // namespace prereq
