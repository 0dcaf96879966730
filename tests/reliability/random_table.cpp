#include "reliability/random_table.h"

#include <windows.h>
#include <msiquery.h>

#include "msi/handles.h"
#include "support/data_rows.h"
#include "util/text.h"

namespace test {

RandomTable::RandomTable(TestPackage* package, Random* random, const std::wstring& table,
                         size_t keys)
    : package_(package), random_(random), table_(table), is_whole_(random->Chance(90)) {
  for (const DataRow& row : ReadDataRows("reliability/tables.txt")) {
    if (row[0] == table) columns_.push_back({row[1], row[2], row[3], row[4]});
  }
  if (!is_whole_) {
    const size_t left_out = random->Between(keys, columns_.size() - 1);
    columns_.erase(columns_.begin() + static_cast<ptrdiff_t>(left_out));
  }
  std::wstring definitions;
  std::wstring key;
  for (const Column& column : columns_) {
    if (&column < &columns_[keys]) key += (key.empty() ? L"`" : L", `") + column.name + L"`";
    definitions += (definitions.empty() ? L"`" : L", `") + column.name + L"` " + column.type;
  }
  package->Execute(L"CREATE TABLE `" + table + L"` (" + definitions + L" PRIMARY KEY " + key +
                   L")");
}

RandomRow RandomTable::MakeRow() {
  RandomRow row;
  const unsigned wildness = random_->Pick({10u, 40u, 90u});
  for (const Column& column : columns_) {
    if (!column.type.ends_with(L"NOT NULL") && random_->Chance(5)) continue;
    const bool is_wild = random_->Chance(wildness);
    row[column.name] = random_->Word(random_->Fill(is_wild ? column.unusual : column.usual));
    random_->Define(column.name, row[column.name]);
  }
  return row;
}

bool RandomTable::Insert(const RandomRow& row) const {
  std::wstring names;
  std::wstring marks;
  const msi::UniqueMsiHandle record(::MsiCreateRecord(static_cast<UINT>(columns_.size())));
  UINT field = 0;
  for (const Column& column : columns_) {
    names += (field == 0 ? L"`" : L",`") + column.name + L"`";
    marks += field++ == 0 ? L"?" : L",?";
    const auto cell = row.find(column.name);
    if (cell == row.end() || cell->second.empty()) continue;
    if (column.type.starts_with(L"LONG")) {
      ::MsiRecordSetInteger(record.Get(), field, util::ParseDecimal<int32_t>(cell->second));
    } else {
      ::MsiRecordSetStringW(record.Get(), field, cell->second.c_str());
    }
  }
  msi::UniqueMsiView view;
  const std::wstring sql =
      L"INSERT INTO `" + table_ + L"` (" + names + L") VALUES (" + marks + L")";
  return ::MsiDatabaseOpenViewW(package_->database(), sql.c_str(), view.Receive()) ==
             ERROR_SUCCESS &&
         ::MsiViewExecute(view.Get(), record.Get()) == ERROR_SUCCESS;
}

}  // namespace test
