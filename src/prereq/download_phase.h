#ifndef PREREQ_DOWNLOAD_PHASE_H_
#define PREREQ_DOWNLOAD_PHASE_H_

#include "prereq/manager.h"

namespace prereq {

// The row of `ActionText` that announces the phase.
inline constexpr wchar_t kDownloadAction[] = L"QX_DownloadPrereq";

// Fetches the setup file of every selected prerequisite that is to be downloaded, of both passes,
// and checks its size and digest; a file that is there already is only checked. It is done also
// after a Cancel on the progress bar and after a mandatory download failed; refused when the user
// did not go on with a wrong file.
ActionEnd RunDownloadPhase(PrerequisiteManager* manager);

}  // namespace prereq

#endif  // PREREQ_DOWNLOAD_PHASE_H_
