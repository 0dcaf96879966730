#ifndef PREREQ_FILE_CHECK_H_
#define PREREQ_FILE_CHECK_H_

#include "prereq/rows.h"
#include "util/unique_handle.h"

namespace prereq {

// True when the setup file has the size and the digest that the prerequisite names. One that names
// neither passes without a look at the file, even when that is missing. The log is told what is
// wrong.
//
// With `held` the check is for a file that is to be started next, so that what was checked is what
// runs: one handle serves it and is given to the caller, and nobody can change the file until it is
// closed. Where somebody who may write has the file open already, it does not match. `held` stays
// empty for a file that is not looked at. Without it others may write meanwhile.
bool SetupFileMatches(const msi::InstallerSession& session, const Prerequisite& prerequisite,
                      util::UniqueFile* held = nullptr);

}  // namespace prereq

#endif  // PREREQ_FILE_CHECK_H_
