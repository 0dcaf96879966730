#ifndef PREREQ_INSTALL_PHASE_H_
#define PREREQ_INSTALL_PHASE_H_

#include "prereq/manager.h"

namespace prereq {

// The row of `ActionText` that announces either pass.
inline constexpr wchar_t kInstallAction[] = L"QX_InstallPrerequisite";

// The rows that an install action handles: those without the option "p", before the product, or
// those with it, after the product.
enum class InstallPass { kBeforeProduct, kAfterProduct };

// Runs the setup of every selected prerequisite of the pass whose setup file exists, one after the
// other, and waits for each without a time limit. Exit codes are not judged.
ActionEnd RunInstallPhase(PrerequisiteManager* manager, InstallPass pass);

}  // namespace prereq

#endif  // PREREQ_INSTALL_PHASE_H_
