#ifndef PREREQ_RESUME_H_
#define PREREQ_RESUME_H_

#include "msi/session.h"

namespace prereq {

// Makes the installation go on after a restart that a prerequisite's setup asks for. Failures are
// silent: the installation goes on whatever happens here.
void RegisterResume(const msi::InstallerSession& session);

}  // namespace prereq

#endif  // PREREQ_RESUME_H_
