#ifndef PREREQ_PROMPTS_H_
#define PREREQ_PROMPTS_H_

#include "msi/session.h"
#include "prereq/rows.h"

// The engine's questions. True means go on. Without a user interface nobody answers, and that is a
// No. The log is told the answer.
//
// Compatibility: each is asked as a warning with Yes and No, for mandatory prerequisites too.
namespace prereq {

// Numbers in the package's `Error` table: the odd one of a pair is the error form.
inline constexpr int kMissingError = 4153;
inline constexpr int kMissingWarning = 4154;
inline constexpr int kWrongFileError = 4155;
inline constexpr int kWrongFileWarning = 4156;

// The setup file failed its size or digest check: ignore the file and go on?
bool AskAboutWrongFile(const msi::InstallerSession& session, const Prerequisite& prerequisite);

// The prerequisite is still missing: go on without it?
bool AskAboutMissing(const msi::InstallerSession& session, const Prerequisite& prerequisite);

}  // namespace prereq

#endif  // PREREQ_PROMPTS_H_
