#ifndef PREREQ_VERIFY_PHASE_H_
#define PREREQ_VERIFY_PHASE_H_

#include "prereq/manager.h"

namespace prereq {

// The row of `ActionText` that announces the phase.
inline constexpr wchar_t kVerifyAction[] = L"QX_VerifyPrereq";

// Asks about every prerequisite of the pass before the product that is still missing. Languages and
// feature select the rows; whether one is missing is judged by its `MissingCondition` alone, not by
// what its setup answered, and an empty condition always asks. The user's first No ends it.
ActionEnd RunVerifyPhase(PrerequisiteManager* manager);

}  // namespace prereq

#endif  // PREREQ_VERIFY_PHASE_H_
