#include <algorithm>

#include "checks.h"
#include "contract/tables.h"
#include "util/text.h"

namespace check {
namespace {

bool UsesLibrary(const Package& package, const Schedule& schedule) {
  const auto& actions = schedule.custom_actions.all();
  return std::any_of(actions.begin(), actions.end(),
                     [](const CustomAction& action) { return action.phase.has_value(); }) ||
         package.HasTable(contract::kPrerequisiteTable) || package.HasTable(contract::kSearchTable);
}

}  // namespace

void CheckPackage(const Package& package, Report* report) {
  const Schedule schedule(package);
  schedule.custom_actions.Check(package, report);
  if (!UsesLibrary(package, schedule)) {
    report->Add(kNothingOfTheLibrary, {});
    return;
  }
  if (package.session_error() != ERROR_SUCCESS) {
    report->Add(kNoSession, {}, {util::ToDecimal(package.session_error())});
  }
  const KnownProperties properties(package, schedule.custom_actions);
  const ConditionTrials trials(package);
  const Roads roads(schedule, trials);
  const std::vector<PrerequisiteRow> prerequisites = ReadPrerequisiteRows(package);
  const Context context = {package, prerequisites, properties, schedule, trials, roads, report};
  if (CheckTableShape(package, contract::kPrerequisiteTable, schedule, report)) {
    CheckPrerequisites(context);
  }
  if (CheckTableShape(package, contract::kSearchTable, schedule, report)) CheckSearches(context);
  CheckValidation(package, report);
  CheckSequences(context);
  CheckRoads(context);
  CheckTexts(context);
  CheckProperties(context);
}

}  // namespace check
