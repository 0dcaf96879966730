#ifndef PREREQ_PROMPTS_H_
#define PREREQ_PROMPTS_H_

#include "msi/table_snapshot.h"
#include "prereq/manager.h"

// The engine's questions. Each is asked as a warning with Yes and No, for mandatory rows too; true
// means go on. Without a user interface nobody answers, and that is a No.
namespace prereq {

// Numbers in the package's `Error` table: the odd one of a pair is the error form.
inline constexpr int kMissingError = 4153;
inline constexpr int kMissingWarning = 4154;
inline constexpr int kWrongFileError = 4155;
inline constexpr int kWrongFileWarning = 4156;

// The row's setup file failed its size or digest check: ignore the file and go on?
bool AskAboutWrongFile(const PrerequisiteManager& manager, const msi::TableRow& row);

// The prerequisite is still missing: go on without it?
bool AskAboutMissing(const PrerequisiteManager& manager, const msi::TableRow& row);

}  // namespace prereq

#endif  // PREREQ_PROMPTS_H_
