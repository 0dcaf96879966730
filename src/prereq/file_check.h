#ifndef PREREQ_FILE_CHECK_H_
#define PREREQ_FILE_CHECK_H_

#include <string>

#include "prereq/rows.h"

namespace prereq {

// True when the file at `path` has the size and the digest that the prerequisite names. One that
// names neither passes without a look at the file, even when it is missing.
bool SetupFileMatches(const Prerequisite& prerequisite, const std::wstring& path);

// True when the MD5 digest of the file is the text's first 32 characters; A to F count as a to f.
// False for a shorter text and for a file that cannot be read.
bool FileDigestEquals(const std::wstring& path, const std::wstring& expected);

}  // namespace prereq

#endif  // PREREQ_FILE_CHECK_H_
