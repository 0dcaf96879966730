#include "reliability/random_table.h"

#include <windows.h>
#include <msiquery.h>

#include <string_view>

#include "msi/handles.h"
#include "util/text.h"

namespace test {
namespace {

bool IsNumeric(const RandomColumn& column) {
  const std::wstring_view type = column.type;
  return type.starts_with(L"SHORT") || type.starts_with(L"LONG ") || type == L"LONG";
}

}  // namespace

void MakeTable(TestPackage* package, const std::wstring& table,
               const std::vector<RandomColumn>& columns, size_t keys) {
  std::wstring sql = L"CREATE TABLE `" + table + L"` (";
  for (const RandomColumn& column : columns) {
    sql += std::wstring(L"`") + column.name + L"` " + column.type + L", ";
  }
  sql.resize(sql.size() - 2);
  sql += L" PRIMARY KEY ";
  for (size_t i = 0; i < keys; ++i) {
    sql += (i == 0 ? L"`" : L", `") + std::wstring(columns[i].name) + L"`";
  }
  package->Execute(sql + L")");
}

bool InsertRow(const TestPackage& package, const std::wstring& table,
               const std::vector<RandomColumn>& columns, const RandomRow& row) {
  std::wstring names;
  std::wstring marks;
  const msi::UniqueMsiHandle record(::MsiCreateRecord(static_cast<UINT>(columns.size())));
  UINT field = 0;
  for (const RandomColumn& column : columns) {
    names += (field == 0 ? L"`" : L",`") + std::wstring(column.name) + L"`";
    marks += field == 0 ? L"?" : L",?";
    ++field;
    const auto cell = row.find(column.name);
    if (cell == row.end() || cell->second.empty()) continue;
    if (IsNumeric(column)) {
      ::MsiRecordSetInteger(record.Get(), field, util::ParseDecimal<int32_t>(cell->second));
    } else {
      ::MsiRecordSetStringW(record.Get(), field, cell->second.c_str());
    }
  }
  msi::UniqueMsiView view;
  const std::wstring sql = L"INSERT INTO `" + table + L"` (" + names + L") VALUES (" + marks + L")";
  return ::MsiDatabaseOpenViewW(package.database(), sql.c_str(), view.Receive()) == ERROR_SUCCESS &&
         ::MsiViewExecute(view.Get(), record.Get()) == ERROR_SUCCESS;
}

}  // namespace test
