#ifndef PREREQ_DOWNLOAD_PHASE_H_
#define PREREQ_DOWNLOAD_PHASE_H_

#include <cstdint>

#include "prereq/manager.h"

namespace prereq {

// The row of `ActionText` that announces the phase.
inline constexpr wchar_t kDownloadAction[] = L"QX_DownloadPrereq";

// Fetches the setup file of every selected prerequisite that is to be downloaded, of both passes,
// and checks its size and digest; a file that is there already is only checked. Answers 0, also
// after a Cancel on the progress bar and after a mandatory download failed, or 2 when the user
// refused to go on with a wrong file.
uint32_t RunDownloadPhase(PrerequisiteManager* manager);

}  // namespace prereq

#endif  // PREREQ_DOWNLOAD_PHASE_H_
