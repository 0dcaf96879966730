#ifndef SETUP_EXTRACTION_H_
#define SETUP_EXTRACTION_H_

#include <windows.h>

#include <string>

#include "command_line.h"

namespace setup {

// Does what the library asks: unpacks the groups from the archive of the program at `own_path` and
// reports on the pipe. The talk always ends in the way the listener waits for, also after a failure
// and for a request that was not understood. Groups that the archive does not have are left out.
//
// Answers a system error number: 0, ERROR_SEM_TIMEOUT when nobody listened, ERROR_INSTALL_USEREXIT
// when the listener stopped it or went away, ERROR_BAD_ARGUMENTS, or one of Archive's.
[[nodiscard]] DWORD RunExtraction(const ExtractRequest& request, const std::wstring& own_path);

}  // namespace setup

#endif  // SETUP_EXTRACTION_H_
