#include "appsearch/app_search_runner.h"
#include "checks.h"
#include "prereq/rows.h"
#include "util/text.h"

namespace check {
namespace {

constexpr Kind kNothingOfTheLibrary{L"PRE001", Severity::kWarning};
constexpr Kind kNoSession{L"PRE002", Severity::kWarning};

bool UsesLibrary(const Package& package, const Schedule& schedule) {
  for (const CustomAction& action : schedule.custom_actions) {
    if (action.phase) return true;
  }
  return package.HasTable(prereq::kPrerequisiteTable) || package.HasTable(appsearch::kSearchTable);
}

}  // namespace

void CheckPackage(const Package& package, Report* report) {
  const Schedule schedule(package);
  CheckCustomActions(package, report);
  if (!UsesLibrary(package, schedule)) {
    report->Add(kNothingOfTheLibrary, L"",
                L"neither a table nor a custom action of the library is in this package, so there "
                L"is nothing to check");
    return;
  }
  if (package.session_error() != ERROR_SUCCESS) {
    report->Add(kNoSession, L"",
                L"the installer does not open the package (error " +
                    util::ToDecimal(package.session_error()) +
                    L"), so conditions and references were not tried");
  }
  const KnownProperties properties(package);
  const Context context = {package, properties, schedule, report};
  if (CheckTableShape(package, prereq::kPrerequisiteTable, schedule, report)) {
    CheckPrerequisites(context);
  }
  if (CheckTableShape(package, appsearch::kSearchTable, schedule, report)) CheckSearches(context);
  CheckSequences(context);
  CheckTexts(context);
  CheckProperties(context);
}

}  // namespace check
