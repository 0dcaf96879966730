#ifndef PREREQ_EXTRACT_PHASE_H_
#define PREREQ_EXTRACT_PHASE_H_

#include "prereq/manager.h"

namespace prereq {

// The row of `ActionText` that announces the phase.
inline constexpr wchar_t kExtractAction[] = L"QX_ExtractPrereq";

// Has the package's setup executable unpack the prerequisites that are still needed and not there
// yet into the extraction folder, and serves the pipe on which it reports until it says that it is
// done. Nothing happens in a package whose prerequisites are not packed. It is done also when the
// setup executable is not found or does not start: the files are then found missing later.
ActionEnd RunExtractPhase(PrerequisiteManager* manager);

}  // namespace prereq

#endif  // PREREQ_EXTRACT_PHASE_H_
