#ifndef CHECK_PACKAGE_CHECKS_H_
#define CHECK_PACKAGE_CHECKS_H_

#include <string>
#include <vector>

#include "condition_trials.h"
#include "known_properties.h"
#include "package.h"
#include "prerequisite_row.h"
#include "report.h"
#include "roads.h"
#include "schedule.h"

// The checks, one function an area; each adds what it finds.
namespace check {

// What the checks of rows need besides the row.
struct Context {
  const Package& package;
  const std::vector<PrerequisiteRow>& prerequisites;
  const KnownProperties& properties;
  const Schedule& schedule;
  const ConditionTrials& trials;
  const Roads& roads;
  Report* report;
};

// Tables and columns that are missing or of the wrong type. False when the rows of that table are
// not worth a look, since the library reads none of them.
bool CheckTableShape(const Package& package, const wchar_t* table, const Schedule& schedule,
                     Report* report);
// The tables of the library in `_Validation`.
void CheckValidation(const Package& package, Report* report);

void CheckPrerequisites(const Context& context);
// What two rows that one machine can need must not share.
void CheckPairs(const Context& context);
// The setup file of one row of `QX_PreRequisite`: its address, its name on disk, size and digest.
void CheckSetupFile(const Context& context, const PrerequisiteRow& row);
// The setup file of a row with `Location` 1; false when nothing can be fetched.
bool CheckAddress(const Context& context, const PrerequisiteRow& row);
// A text of that column in which a reference stands, which is not replaced there.
void CheckReferenceKept(const Context& context, const PrerequisiteRow& row, const wchar_t* column);
// Versions that a condition compares as texts.
void CheckVersionsAsText(const Context& context, const Place& place, const std::wstring& condition);

// What nobody sets, in a condition: {1} of `text` is the reason.
void CheckConditionNames(const Context& context, const FindingText& text, const Place& place,
                         const std::wstring& condition);

void CheckSearches(const Context& context);
void CheckSequences(const Context& context);
void CheckRoads(const Context& context);
void CheckTexts(const Context& context);
void CheckProperties(const Context& context);

// All of the above on one package. The installation that conditions are tried on must be closed
// before the next.
void CheckPackage(const Package& package, Report* report);

}  // namespace check

#endif  // CHECK_PACKAGE_CHECKS_H_
