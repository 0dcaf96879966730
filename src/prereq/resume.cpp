#include "prereq/resume.h"

namespace prereq {

void RegisterResume(const msi::InstallerSession& /*session*/) {}

}  // namespace prereq
