#ifndef APPSEARCH_SEARCH_ROWS_H_
#define APPSEARCH_SEARCH_ROWS_H_

#include <optional>
#include <string>
#include <vector>

#include "appsearch/criterion.h"
#include "contract/tables.h"
#include "msi/session.h"

namespace appsearch {

using contract::kSearchTable;

// One row of `QX_AppSearchEx`, made once from the table.
struct SearchRow {
  std::wstring property;   // The one to set.
  std::wstring condition;  // Not evaluated yet.
  SearchKind kind = SearchKind::kFile;
  std::wstring search;  // Not formatted yet.
  std::wstring lowest;  // Version bounds; empty for none.
  std::wstring highest;
  std::wstring reference;
  bool view64 = false;
};

// The rows in their order; none when the table is missing or cannot be read.
std::vector<SearchRow> LoadSearchRows(const msi::InstallerSession& session);

// The two ends of the narrow text that the engine works on. The first takes the formatted search
// text, and gives nothing when the code page cannot say it or the reference; of a bound only the
// numbers count. The second gives the value of the row's property after something was found.
std::optional<Criterion> ToCriterion(const SearchRow& row, const std::wstring& search);
std::wstring JoinFindings(const Findings& findings);
std::wstring ToPropertyValue(const SearchRow& row, const Findings& findings);

}  // namespace appsearch

#endif  // APPSEARCH_SEARCH_ROWS_H_
