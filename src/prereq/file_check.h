#ifndef PREREQ_FILE_CHECK_H_
#define PREREQ_FILE_CHECK_H_

#include <string>

#include "msi/table_snapshot.h"

namespace prereq {

// True when the file has the size that `ExactSize` names and the digest that `MD5` names. A row
// that names neither passes without a look at the file, even when it is missing.
bool SetupFileMatches(const msi::TableRow& row, const std::wstring& path);

// True when the MD5 digest of the file is the text's first 32 characters; A to F count as a to f.
// False for a shorter text and for a file that cannot be read.
bool FileDigestEquals(const std::wstring& path, const std::wstring& expected);

}  // namespace prereq

#endif  // PREREQ_FILE_CHECK_H_
