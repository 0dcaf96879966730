#include <algorithm>
#include <set>

#include "conditions.h"
#include "contract/properties.h"
#include "contract/tables.h"
#include "search.h"

namespace check {
namespace {

// The columns of a table in which the name of a property does not read it.
std::set<std::wstring> ColumnsOfNames(const std::wstring& table) {
  if (table == contract::kSearchTable || table == L"AppSearch" || table == L"Property") {
    return {L"Property"};
  }
  return {};
}

// Takes out of `names` what some cell of the table names.
void RemoveRead(const Package& package, const std::wstring& table, std::set<std::wstring>* names) {
  const std::set<std::wstring> passed_over = ColumnsOfNames(table);
  std::vector<std::wstring> columns;
  for (const Column& column : package.Columns(table)) {
    if (column.type != L'i' && !passed_over.contains(column.name)) columns.push_back(column.name);
  }
  for (const msi::TableRow& row : package.Rows(table)) {
    // A list of what is passed on reads nothing.
    if (table == L"Property" && row.Get(L"Property") == contract::kSecureProperty) continue;
    for (const std::wstring& column : columns) {
      const std::wstring cell = row.Get(column.c_str());
      for (const std::wstring_view word : WordsIn(cell)) names->erase(std::wstring(word));
    }
  }
}

}  // namespace

void CheckReaders(const Context& context) {
  const auto& actions = context.schedule.custom_actions.all();
  // What an author's own library or script reads, no table says.
  if (std::any_of(actions.begin(), actions.end(),
                  [](const CustomAction& action) { return action.IsOwnCode(); })) {
    return;
  }
  std::set<std::wstring> unread = context.package.Cells(contract::kSearchTable, L"Property");
  for (const std::wstring& table : context.package.TextTables()) {
    if (unread.empty()) return;
    if (table != L"_Validation") RemoveRead(context.package, table, &unread);
  }
  for (const msi::TableRow& row : context.package.Rows(contract::kSearchTable)) {
    const std::wstring name = row.Get(L"Property");
    if (unread.contains(name)) {
      context.report->Add(kNobodyReads,
                          {contract::kSearchTable, name + L"/" + row.Get(L"Order"), L"Property"},
                          {name});
    }
  }
}

}  // namespace check
