#ifndef CHECK_PACKAGE_PREREQUISITE_ROW_H_
#define CHECK_PACKAGE_PREREQUISITE_ROW_H_

#include <string>
#include <vector>

#include "package.h"
#include "prereq/rows.h"
#include "report.h"

namespace check {

// One row of `QX_PreRequisite`: its cells as they stand, and what the library makes of them.
struct PrerequisiteRow {
  msi::TableRow cells;
  prereq::Prerequisite read;

  [[nodiscard]] std::wstring Get(const wchar_t* column) const { return cells.Get(column); }
  [[nodiscard]] std::wstring Key() const { return cells.Get(L"Prereq"); }
  [[nodiscard]] Place At(const wchar_t* column) const {
    return {prereq::kPrerequisiteTable, Key(), column};
  }
  [[nodiscard]] bool IsCarried() const { return read.location == prereq::Location::kCarried; }
  [[nodiscard]] bool IsDownloaded() const { return read.location == prereq::Location::kDownloaded; }
};

// All rows, with the paths of their setup files as far as they are known.
[[nodiscard]] std::vector<PrerequisiteRow> ReadPrerequisiteRows(const Package& package);

}  // namespace check

#endif  // CHECK_PACKAGE_PREREQUISITE_ROW_H_
