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

bool IsInPass(const PrerequisiteManager& manager, const msi::TableRow& row, InstallPass pass) {
  return HasOption(row, kPostInstallOption) == (pass == InstallPass::kAfterProduct) &&
         IsSelected(manager.session(), row);
}

void ReportFailedLaunch(MSIHANDLE install, const std::wstring& path, DWORD error) {
  msi::MessageRecord report(1);
  report.Set(0, L"Failed to launch file: " + path + L" Error: " + util::ToDecimal(error));
  report.Send(install, INSTALLMESSAGE_INFO);
  report.Send(install, INSTALLMESSAGE_ERROR);
}

void Launch(PrerequisiteManager* manager, const msi::TableRow& row, const std::wstring& path) {
  const std::wstring arguments = msi::FormatText(manager->install(), row.Get(L"ComLine"));
  manager->progress().BeginItem();
  DWORD exit_code = 0;  // Not judged: whether the prerequisite is there, the verify phase tells.
  const bool launched = util::LaunchProgram(path, arguments, &exit_code, /*hidden=*/false);
  const DWORD error = launched ? NO_ERROR : ::GetLastError();
  manager->progress().FinishItem();
  if (launched) {
    msi::SendActionDataDone(manager->install(), row.Get(L"DisplayName"));
  } else {
    ReportFailedLaunch(manager->install(), path, error);
  }
}

// False when the user refused to go on.
bool InstallRow(PrerequisiteManager* manager, const msi::TableRow& row) {
  msi::SendActionData(manager->install(), row.Get(L"DisplayName"));
  const std::wstring path = SetupFilePath(manager->session(), row);
  if (!util::FileExists(path)) return true;
  // Downloaded files were checked when they came.
  if (RowLocation(row) != kDownloadedLocation && !SetupFileMatches(row, path)) {
    return AskAboutWrongFile(*manager, row);
  }
  Launch(manager, row, path);
  return true;
}

}  // namespace

uint32_t RunInstallPhase(PrerequisiteManager* manager, InstallPass pass) {
  manager->Announce(kInstallAction);
  msi::TableSnapshot rows(manager->install(), kPrerequisiteTable);
  LoadPrerequisites(&rows);
  for (const msi::TableRow& row : rows) {
    if (IsInPass(*manager, row, pass) && util::FileExists(SetupFilePath(manager->session(), row))) {
      manager->progress().Start(1, /*accumulate=*/true);
    }
  }
  if (manager->progress().item_count() == 0) return ERROR_SUCCESS;

  RegisterResume(manager->session());
  for (const msi::TableRow& row : rows) {
    if (IsInPass(*manager, row, pass) && !InstallRow(manager, row)) {
      manager->set_result(static_cast<uint32_t>(msi::PromptAnswer::kStop));
      break;
    }
  }
  return manager->result();
}

}  // namespace prereq
