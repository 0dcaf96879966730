#include "prereq/install_phase.h"

#include "msi/messages.h"
#include "prereq/file_check.h"
#include "prereq/prompts.h"
#include "prereq/resume.h"
#include "prereq/rows.h"
#include "util/files.h"
#include "util/process.h"
#include "util/text.h"

namespace prereq {
namespace {

bool IsInPass(const msi::InstallerSession& session, const Prerequisite& prerequisite,
              InstallPass pass) {
  return prerequisite.is_after_product == (pass == InstallPass::kAfterProduct) &&
         IsSelected(session, prerequisite);
}

void ReportFailedLaunch(const msi::InstallerSession& session, const std::wstring& path,
                        DWORD error) {
  msi::MessageRecord report(1);
  report.Set(0, L"Failed to launch file: " + path + L" Error: " + util::ToDecimal(error));
  report.Send(session, INSTALLMESSAGE_INFO);
  report.Send(session, INSTALLMESSAGE_ERROR);
}

void Launch(PrerequisiteManager* manager, const Prerequisite& prerequisite) {
  const msi::InstallerSession& session = manager->session();
  const std::wstring arguments = msi::FormatText(session, prerequisite.arguments);
  manager->progress().BeginItem();
  DWORD exit_code = 0;  // Not judged: whether the prerequisite is there, the verify phase tells.
  const bool launched =
      util::LaunchProgram(prerequisite.file_path, arguments, &exit_code, /*hidden=*/false);
  const DWORD error = launched ? NO_ERROR : ::GetLastError();
  manager->progress().FinishItem();
  if (launched) {
    msi::SendActionDataDone(session, prerequisite.display_name);
  } else {
    ReportFailedLaunch(session, prerequisite.file_path, error);
  }
}

// False when the user refused to go on.
bool Install(PrerequisiteManager* manager, const Prerequisite& prerequisite) {
  msi::SendActionData(manager->session(), prerequisite.display_name);
  if (!util::FileExists(prerequisite.file_path)) return true;
  // Downloaded files were checked when they came.
  if (prerequisite.location != Location::kDownloaded &&
      !SetupFileMatches(prerequisite, prerequisite.file_path)) {
    return AskAboutWrongFile(manager->session(), prerequisite);
  }
  Launch(manager, prerequisite);
  return true;
}

}  // namespace

ActionEnd RunInstallPhase(PrerequisiteManager* manager, InstallPass pass) {
  const msi::InstallerSession& session = manager->session();
  manager->Announce(kInstallAction);
  const std::vector<Prerequisite> prerequisites = LoadPrerequisites(session);
  for (const Prerequisite& prerequisite : prerequisites) {
    if (IsInPass(session, prerequisite, pass) && util::FileExists(prerequisite.file_path)) {
      manager->progress().Start(1, /*accumulate=*/true);
    }
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
