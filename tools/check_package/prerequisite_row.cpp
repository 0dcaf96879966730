#include "prerequisite_row.h"

namespace check {

std::vector<PrerequisiteRow> ReadPrerequisiteRows(const Package& package) {
  std::vector<PrerequisiteRow> rows;
  for (const msi::TableRow& cells : package.Rows(prereq::kPrerequisiteTable)) {
    PrerequisiteRow row = {cells, prereq::ReadPrerequisite(cells)};
    if (package.session() != nullptr) {
      row.read.file_path = prereq::SetupFilePath(*package.session(), row.read);
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace check
