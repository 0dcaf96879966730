#include <algorithm>
#include <iterator>

#include "checks.h"
#include "contract/tables.h"
#include "kit_tables.h"
#include "util/text.h"

namespace check {
namespace {

bool IsText(wchar_t type) { return type == L's' || type == L'l'; }

bool IsSearchTable(std::wstring_view table) { return table == contract::kSearchTable; }

bool NeedsTable(std::wstring_view table, const Schedule& schedule) {
  return std::any_of(std::begin(kAllPhases), std::end(kAllPhases), [&](Phase phase) {
    const bool is_for_table =
        phase != Phase::kClean && (phase == Phase::kSearch) == IsSearchTable(table);
    return is_for_table && schedule.Runs(phase);
  });
}

// A column that a table has not is an empty cell of every row, which most rows may well have. Rows
// in no order, and rows that are missing for ever, are hardly meant.
bool IsMissed(std::wstring_view column) {
  return column == L"Sequence" || column == L"MissingCondition";
}

// Every cell is read as text, and a number stands for itself. What matters is that the installer
// puts the rows in the order of numbers, and that a cell can hold what belongs there.
void CheckType(const KitTable& kit, const std::wstring& name, const std::wstring& wanted,
               wchar_t found, size_t rows, Report* report) {
  const bool wants_text = IsText(util::FoldAscii(wanted[0]));
  const Place place = {kit.name, {}, name};
  const bool orders = name == L"Sequence" || name == L"Order";
  if (!wants_text && IsText(found)) {
    if (orders && rows > 1) report->Add(kTextOrder, place, {wanted});
  } else if (wants_text != IsText(found) && !(name == L"ExactSize" && found == L'i')) {
    report->Add(kNumberForText, place, {wanted, found == L'i' ? L"a number" : L"binary data"});
  }
}

bool CheckColumns(const KitTable& kit, const Package& package, Report* report) {
  const std::vector<std::wstring> names = util::Split(kit.columns, L'\t');
  const std::vector<std::wstring> types = util::Split(kit.types, L'\t');
  const std::vector<Column> columns = package.Columns(kit.name);
  bool is_readable = true;
  for (size_t i = 0; i < names.size(); ++i) {
    const auto found = std::find_if(columns.begin(), columns.end(),
                                    [&](const Column& one) { return one.name == names[i]; });
    if (found != columns.end()) {
      CheckType(kit, names[i], types[i], found->type, package.Rows(kit.name).size(), report);
    } else if (IsMissed(names[i])) {
      is_readable = false;
      report->Add(kNoColumn, {kit.name, {}, names[i]}, {types[i]});
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
  const Place place = {table, {}, {}};
  if (!package.HasTable(table)) {
    if (NeedsTable(table, schedule)) report->Add(kNoTable, place);
    return false;
  }
  if (!CheckColumns(kit, package, report)) return false;
  if (package.Rows(table).empty() && NeedsTable(table, schedule)) report->Add(kNoRows, place);
  return true;
}

void CheckValidation(const Package& package, Report* report) {
  constexpr wchar_t kValidation[] = L"_Validation";
  if (!package.HasTable(kValidation)) return;
  std::set<std::wstring> known;
  for (const msi::TableRow& row : package.Rows(kValidation)) {
    known.insert(row.Get(L"Table") + L"\t" + row.Get(L"Column"));
  }
  for (const KitTable& kit : kKitTables) {
    std::vector<std::wstring> missing;
    for (const Column& column : package.Columns(kit.name)) {
      if (!known.contains(std::wstring(kit.name) + L"\t" + column.name)) {
        missing.push_back(column.name);
      }
    }
    if (!missing.empty()) {
      report->Add(kNotValidated, {kValidation, kit.name, {}}, {Listed(missing)});
    }
  }
}

}  // namespace check
