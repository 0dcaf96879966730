#include "appsearch/search_rows.h"

#include <utility>

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

std::optional<Criterion> ToCriterion(const SearchRow& row, const std::wstring& search) {
  auto ansi_search = util::TryToAnsi(search);
  auto reference = util::TryToAnsi(row.reference);
  Criterion criterion = {.kind = row.kind,
                         .lowest = util::ToAnsi(row.lowest),
                         .highest = util::ToAnsi(row.highest),
                         .view64 = row.view64};
  // A bound that could not be converted would be none.
  if (!ansi_search || !reference || criterion.lowest.empty() != row.lowest.empty() ||
      criterion.highest.empty() != row.highest.empty()) {
    return std::nullopt;
  }
  criterion.search = std::move(*ansi_search);
  criterion.reference = std::move(*reference);
  return criterion;
}

std::wstring JoinFindings(const Findings& findings) {
  std::string text;
  for (const std::string& finding : findings) {
    if (&finding != &findings.front()) text += ", ";
    text += finding;
  }
  return util::ToWide(text);
}

std::wstring ToPropertyValue(const SearchRow& row, const Findings& findings) {
  if ((row.lowest.empty() && row.highest.empty()) || findings.empty()) return L"1";
  return JoinFindings(findings);
}

}  // namespace appsearch
