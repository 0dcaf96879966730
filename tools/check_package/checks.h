#ifndef CHECK_PACKAGE_CHECKS_H_
#define CHECK_PACKAGE_CHECKS_H_

#include <string>
#include <string_view>

#include "known_properties.h"
#include "package.h"
#include "report.h"
#include "schedule.h"

// The checks, one function an area; each adds what it finds.
namespace check {

// What the checks of rows need besides the row.
struct Context {
  const Package& package;
  const KnownProperties& properties;
  const Schedule& schedule;
  Report* report;
};

// Tables and columns that are missing or of the wrong type. False when the rows of that table are
// not worth a look, since the library reads none of them.
bool CheckTableShape(const Package& package, const wchar_t* table, const Schedule& schedule,
                     Report* report);

void CheckPrerequisites(const Context& context);
// The setup file of one row of `QX_PreRequisite`: its address, its name on disk, size and digest.
void CheckSetupFile(const Context& context, const msi::TableRow& row);
// The full name on disk as far as it is known, in one letter case; empty when there is none.
std::wstring NameOnDisk(const Context& context, const msi::TableRow& row);

void CheckSearches(const Context& context);
// The registry value of a search of kind 9: that its type can be read.
void CheckComparedValue(const Context& context, const std::wstring& place, const std::wstring& path,
                        bool view64);
// The root of a registry path as the searches know it.
void CheckRoot(const Context& context, const std::wstring& place, const std::wstring& path);

void CheckSequences(const Context& context);
void CheckTexts(const Context& context);
void CheckProperties(const Context& context);

// All of the above on one package. The installation that conditions are tried on must be closed
// before the next.
void CheckPackage(const Package& package, Report* report);

}  // namespace check

#endif  // CHECK_PACKAGE_CHECKS_H_
