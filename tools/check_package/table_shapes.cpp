#include <algorithm>
#include <iterator>

#include "appsearch/app_search_runner.h"
#include "checks.h"
#include "kit_tables.h"
#include "prereq/rows.h"
#include "util/text.h"

namespace check {
namespace {

constexpr Kind kNoTable{L"PRE101", Severity::kError};
constexpr Kind kNoColumn{L"PRE102", Severity::kError};
constexpr Kind kWrongType{L"PRE103", Severity::kError};
constexpr Kind kNoRows{L"PRE104", Severity::kWarning};

bool IsText(wchar_t type) { return type == L's' || type == L'l'; }

const wchar_t* NameOfType(wchar_t type) {
  return IsText(type) ? L"text" : type == L'i' ? L"number" : L"binary data";
}

bool IsSearchTable(const std::wstring& table) { return table == appsearch::kSearchTable; }

bool NeedsTable(const std::wstring& table, const Schedule& schedule) {
  if (IsSearchTable(table)) return schedule.Runs(Phase::kSearch);
  return schedule.Runs(Phase::kDownload) || schedule.Runs(Phase::kExtract) ||
         schedule.Runs(Phase::kInstall) || schedule.Runs(Phase::kInstallPost) ||
         schedule.Runs(Phase::kVerify);
}

// A size may be a number too, as long as it fits.
bool IsAsGood(const std::wstring& column, wchar_t found) {
  return column == L"ExactSize" && found == L'i';
}

// The first column of either table is its key, which names rows here and which only the searches
// read.
bool IsRead(const KitTable& table, size_t column) {
  return column != 0 || IsSearchTable(table.name);
}

bool CheckColumns(const KitTable& kit, const std::vector<Column>& columns, Report* report) {
  const std::vector<std::wstring> names = util::Split(kit.columns, L'\t');
  const std::vector<std::wstring> types = util::Split(kit.types, L'\t');
  bool is_readable = true;
  for (size_t i = 0; i < names.size(); ++i) {
    const auto found = std::find_if(columns.begin(), columns.end(),
                                    [&](const Column& one) { return one.name == names[i]; });
    const wchar_t wanted = util::FoldAscii(types[i][0]);
    const std::wstring place = std::wstring(kit.name) + L", column " + names[i];
    if (found == columns.end()) {
      if (!IsRead(kit, i)) continue;
      is_readable = false;
      report->Add(kNoColumn, place,
                  L"the column is missing, so the library reads no row of this table at all. Add "
                  L"it as the kit's " +
                      std::wstring(kit.name) + L".idt has it (" + types[i] +
                      L"), capitals as written");
    } else if (IsText(wanted) != IsText(found->type) && !IsAsGood(names[i], found->type)) {
      report->Add(kWrongType, place,
                  std::wstring(L"the column holds ") + NameOfType(found->type) +
                      L" where the kit has " + NameOfType(wanted) + L" (" + types[i] + L")" +
                      (wanted == L'i' ? L": rows would be put in the wrong order, or read as 0"
                                      : L": what belongs here cannot be written into it"));
    }
  }
  return is_readable;
}

}  // namespace

bool CheckTableShape(const Package& package, const wchar_t* table, const Schedule& schedule,
                     Report* report) {
  const KitTable& kit =
      *std::find_if(std::begin(kKitTables), std::end(kKitTables),
                    [&](const KitTable& one) { return std::wstring_view(one.name) == table; });
  if (!package.HasTable(table)) {
    if (NeedsTable(table, schedule)) {
      report->Add(kNoTable, table,
                  L"the table is missing, though actions that work on it are scheduled: they would "
                  L"find nothing to do. Import the kit's " +
                      std::wstring(table) + L".idt");
    }
    return false;
  }
  if (!CheckColumns(kit, package.Columns(table), report)) return false;
  if (package.Rows(table).empty() && NeedsTable(table, schedule)) {
    report->Add(kNoRows, table, L"the table has no rows: its actions are scheduled for nothing");
  }
  return true;
}

}  // namespace check
