#include "appsearch/search_rows.h"

#include "msi/table_snapshot.h"
#include "util/text.h"

namespace appsearch {

std::vector<SearchRow> LoadSearchRows(const msi::InstallerSession& session) {
  msi::TableSnapshot table(session, kSearchTable);
  table.Load({L"Property", L"Condition", L"Type", L"SearchString", L"VerMin", L"VerMax",
              L"Platform", L"RefContent"},
             {L"Order"});
  std::vector<SearchRow> rows;
  for (const msi::TableRow& row : table) {
    rows.push_back({.property = row.Get(L"Property"),
                    .condition = row.Get(L"Condition"),
                    .kind = static_cast<SearchKind>(util::ParseDecimal<int32_t>(row.Get(L"Type"))),
                    .search = row.Get(L"SearchString"),
                    .lowest = row.Get(L"VerMin"),
                    .highest = row.Get(L"VerMax"),
                    .reference = row.Get(L"RefContent"),
                    .view64 = row.Get(L"Platform") == L"1"});
  }
  return rows;
}

Criterion ToCriterion(const SearchRow& row, const std::wstring& search) {
  return {.kind = row.kind,
          .search = util::ToAnsi(search),
          .lowest = util::ToAnsi(row.lowest),
          .highest = util::ToAnsi(row.highest),
          .reference = util::ToAnsi(row.reference),
          .view64 = row.view64};
}

std::wstring ToPropertyValue(const SearchRow& row, const Findings& findings) {
  if ((row.lowest.empty() && row.highest.empty()) || findings.empty()) return L"1";
  std::string value;
  for (const std::string& finding : findings) {
    if (&finding != &findings.front()) value += ", ";
    value += finding;
  }
  return util::ToWide(value);
}

}  // namespace appsearch
