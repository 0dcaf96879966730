#ifndef TESTS_TOOLS_RUN_CHECKER_H_
#define TESTS_TOOLS_RUN_CHECKER_H_

#include <windows.h>

#include <string>

#include "support/temp_folder.h"

namespace test {

struct CheckerRun {
  DWORD exit_code = 0;
  std::string output;  // And what it says of errors.
};

// Runs check_package.exe in that folder.
CheckerRun RunChecker(const TempFolder& folder, const std::wstring& arguments);

}  // namespace test

#endif  // TESTS_TOOLS_RUN_CHECKER_H_
