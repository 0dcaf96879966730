#ifndef PREREQ_FILE_CHECK_H_
#define PREREQ_FILE_CHECK_H_

#include <string>

#include "prereq/rows.h"

namespace prereq {

// True when the file at `path` has the size and the digest that the prerequisite names. One that
// names neither passes without a look at the file, even when it is missing.
bool SetupFileMatches(const Prerequisite& prerequisite, const std::wstring& path);

}  // namespace prereq

#endif  // PREREQ_FILE_CHECK_H_
