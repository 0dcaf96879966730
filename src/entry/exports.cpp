// The custom actions that a package calls. Each borrows the installer's handle for the length of
// the call, on the installer's thread, and catches nothing.

#include <windows.h>
#include <msi.h>

#include "appsearch/app_search_runner.h"
#include "msi/session.h"
#include "prereq/cleanup.h"
#include "prereq/download_phase.h"
#include "prereq/extract_phase.h"
#include "prereq/install_phase.h"
#include "prereq/manager.h"
#include "prereq/verify_phase.h"

namespace {

// What the installer is told.
UINT ToResult(prereq::ActionEnd end) {
  switch (end) {
    case prereq::ActionEnd::kRefused:
      return 2;
    case prereq::ActionEnd::kCancelled:
      return 1;
    case prereq::ActionEnd::kDone:
      break;
  }
  return ERROR_SUCCESS;
}

}  // namespace

extern "C" UINT WINAPI DownloadPrereq(MSIHANDLE install) {
  prereq::PrerequisiteManager manager(install);
  return ToResult(prereq::RunDownloadPhase(&manager));
}

extern "C" UINT WINAPI ExtractPrereq(MSIHANDLE install) {
  prereq::PrerequisiteManager manager(install);
  return ToResult(prereq::RunExtractPhase(&manager));
}

extern "C" UINT WINAPI InstallPrereq(MSIHANDLE install) {
  prereq::PrerequisiteManager manager(install);
  return ToResult(prereq::RunInstallPhase(&manager, prereq::InstallPass::kBeforeProduct));
}

extern "C" UINT WINAPI InstallPostPrereq(MSIHANDLE install) {
  prereq::PrerequisiteManager manager(install);
  return ToResult(prereq::RunInstallPhase(&manager, prereq::InstallPass::kAfterProduct));
}

extern "C" UINT WINAPI VerifyPrereq(MSIHANDLE install) {
  prereq::PrerequisiteManager manager(install);
  return ToResult(prereq::RunVerifyPhase(&manager));
}

// Never fails an installation: what could not be removed stays.
extern "C" UINT WINAPI CleanPrereq(MSIHANDLE install) {
  const msi::InstallerSession session(install);
  prereq::CleanupRunner(session).Run();
  return ERROR_SUCCESS;
}

extern "C" UINT WINAPI DoAppSearchEx(MSIHANDLE install) {
  const msi::InstallerSession session(install);
  appsearch::AppSearchRunner(session).Run();
  return ERROR_SUCCESS;
}
