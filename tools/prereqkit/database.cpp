#include "database.h"

#include <objidl.h>
#include <msiquery.h>

#include <algorithm>
#include <cwchar>

#include "msi/streams.h"
#include "util/files.h"
#include "util/text.h"

namespace kit {
namespace {

constexpr UINT kPackageCode = 9;  // PID_REVNUMBER

std::wstring Quoted(const std::wstring& name) { return L"`" + name + L"`"; }

std::wstring FieldText(MSIHANDLE record, UINT field) {
  std::wstring text;
  (void)msi::ReadSized(
      [=](wchar_t* buffer, DWORD* length) {
        return ::MsiRecordGetStringW(record, field, buffer, length);
      },
      &text);
  return text;
}

// "`A` = ? AND `B` = ?"; a null is compared by name, since "= ?" is never true of one.
std::wstring Matching(const Cells& key) {
  std::wstring sql;
  for (const auto& [column, value] : key) {
    if (!sql.empty()) sql += L" AND ";
    sql += Quoted(column) + (value.empty() ? L" IS NULL" : L" = ?");
  }
  return sql;
}

Cells WithoutNulls(const Cells& key) {
  Cells values;
  std::copy_if(key.begin(), key.end(), std::back_inserter(values),
               [](const auto& cell) { return !cell.second.empty(); });
  return values;
}

msi::UniqueMsiHandle MakeRecord(const std::vector<Column>& columns, const Cells& values) {
  msi::UniqueMsiHandle record(::MsiCreateRecord(static_cast<UINT>(values.size())));
  UINT field = 0;
  for (const auto& [name, value] : values) {
    ++field;
    if (value.empty()) continue;
    const auto column = std::find_if(columns.begin(), columns.end(),
                                     [&](const Column& one) { return one.name == name; });
    if (column != columns.end() && column->IsNumber()) {
      ::MsiRecordSetInteger(record.Get(), field, util::ParseDecimal<int>(value));
    } else if (column != columns.end() && column->IsStream()) {
      ::MsiRecordSetStreamW(record.Get(), field, value.c_str());
    } else {
      ::MsiRecordSetStringW(record.Get(), field, value.c_str());
    }
  }
  return record;
}

// A column as CREATE TABLE takes it.
std::wstring Definition(const Column& column) {
  const wchar_t kind = util::FoldAscii(column.type[0]);
  const std::wstring size = column.type.substr(1);
  std::wstring sql = Quoted(column.name);
  if (kind == L'i') {
    sql += size == L"2" ? L" SHORT" : L" LONG";
  } else if (kind == L'v') {
    sql += L" OBJECT";
  } else {
    sql += size == L"0" ? L" LONGCHAR" : L" CHAR(" + size + L")";
  }
  if (kind == column.type[0]) sql += L" NOT NULL";
  if (kind == L'l') sql += L" LOCALIZABLE";
  return sql;
}

}  // namespace

size_t Table::IndexOf(const std::wstring& column) const {
  size_t i = 0;
  while (i < columns.size() && columns[i].name != column) ++i;
  return i;
}

std::wstring Table::Get(size_t row, const std::wstring& column) const {
  const size_t i = IndexOf(column);
  return i < columns.size() ? rows[row][i] : std::wstring();
}

Cells Table::KeyOf(size_t row) const {
  Cells key;
  for (size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].is_key) key.emplace_back(columns[i].name, rows[row][i]);
  }
  return key;
}

UINT Database::Open(const std::wstring& path, bool is_written) {
  const UINT error = ::MsiOpenDatabaseW(
      path.c_str(), is_written ? MSIDBOPEN_TRANSACT : MSIDBOPEN_READONLY, database_.Receive());
  if (error != ERROR_SUCCESS) return error;
  // The pseudo table's only line that is not empty is "<code page>\t_ForceCodepage".
  wchar_t folder[MAX_PATH + 1] = L"";
  wchar_t file[MAX_PATH + 1] = L"";
  if (::GetTempPathW(MAX_PATH, folder) == 0 || ::GetTempFileNameW(folder, L"kit", 0, file) == 0) {
    return ::GetLastError();
  }
  const std::wstring name = std::wstring(file).substr(std::wcslen(folder));
  const UINT exported =
      ::MsiDatabaseExportW(database_.Get(), L"_ForceCodepage", folder, name.c_str());
  if (const util::UniqueFile text = util::OpenForReading(file)) {
    char buffer[64] = "";
    DWORD length = 0;
    ::ReadFile(text.Get(), buffer, sizeof(buffer) - 1, &length, nullptr);
    const std::string_view line(buffer, length);
    const size_t digit = line.find_first_of("0123456789");
    if (digit != line.npos) code_page_ = util::ParseDecimal<UINT>(line.substr(digit));
  }
  util::RemoveFile(file);
  return exported;
}

bool Database::HasTable(const std::wstring& table) const {
  return ::MsiDatabaseIsTablePersistentW(database_.Get(), table.c_str()) == MSICONDITION_TRUE;
}

Table Database::Select(const std::wstring& sql, const std::vector<Column>& key_columns,
                       const Cells& key) const {
  Table table;
  const msi::UniqueMsiHandle values = MakeRecord(key_columns, key);
  msi::UniqueMsiView view;
  msi::UniqueMsiHandle names;
  msi::UniqueMsiHandle types;
  if (::MsiDatabaseOpenViewW(database_.Get(), sql.c_str(), view.Receive()) != ERROR_SUCCESS ||
      ::MsiViewExecute(view.Get(), values.Get()) != ERROR_SUCCESS ||
      ::MsiViewGetColumnInfo(view.Get(), MSICOLINFO_NAMES, names.Receive()) != ERROR_SUCCESS ||
      ::MsiViewGetColumnInfo(view.Get(), MSICOLINFO_TYPES, types.Receive()) != ERROR_SUCCESS) {
    return table;
  }
  const UINT count = ::MsiRecordGetFieldCount(names.Get());
  for (UINT field = 1; field <= count; ++field) {
    table.columns.push_back({FieldText(names.Get(), field), FieldText(types.Get(), field)});
  }
  msi::UniqueMsiHandle record;
  while (::MsiViewFetch(view.Get(), record.Receive()) == ERROR_SUCCESS) {
    std::vector<std::wstring> row(count);
    for (UINT field = 1; field <= count; ++field) {
      const Column& column = table.columns[field - 1];
      if (column.IsStream()) continue;
      if (!column.IsNumber()) {
        row[field - 1] = FieldText(record.Get(), field);
      } else if (!::MsiRecordIsNull(record.Get(), field)) {
        row[field - 1] = util::ToSignedDecimal(::MsiRecordGetInteger(record.Get(), field));
      }
    }
    table.rows.push_back(std::move(row));
  }
  return table;
}

std::vector<Column> Database::ColumnsOf(const std::wstring& table) const {
  std::vector<Column> columns =
      Select(L"SELECT * FROM " + Quoted(table) + L" WHERE 1 = 0", {}, {}).columns;
  if (columns.empty()) columns = Select(L"SELECT * FROM " + Quoted(table), {}, {}).columns;
  return columns;
}

Table Database::Read(const std::wstring& table) const {
  if (!HasTable(table)) return {};
  Table all = Select(L"SELECT * FROM " + Quoted(table), {}, {});
  msi::UniqueMsiHandle keys;
  if (::MsiDatabaseGetPrimaryKeysW(database_.Get(), table.c_str(), keys.Receive()) ==
      ERROR_SUCCESS) {
    for (UINT field = 1; field <= ::MsiRecordGetFieldCount(keys.Get()); ++field) {
      const size_t i = all.IndexOf(FieldText(keys.Get(), field));
      if (i < all.columns.size()) all.columns[i].is_key = true;
    }
  }
  return all;
}

Table Database::Find(const std::wstring& table, const Cells& key) const {
  if (!HasTable(table)) return {};
  return Select(L"SELECT * FROM " + Quoted(table) + L" WHERE " + Matching(key), ColumnsOf(table),
                WithoutNulls(key));
}

std::wstring Database::Property(const std::wstring& name) const {
  const Table found = Find(L"Property", {{L"Property", name}});
  return found.rows.empty() ? std::wstring() : found.Get(0, L"Value");
}

std::vector<unsigned char> Database::Stream(const std::wstring& name) const {
  std::vector<unsigned char> bytes;
  msi::UniqueMsiView view;
  msi::UniqueMsiHandle record;
  const msi::UniqueMsiHandle key = MakeRecord({}, {{L"Name", name}});
  if (::MsiDatabaseOpenViewW(database_.Get(), L"SELECT `Data` FROM `Binary` WHERE `Name` = ?",
                             view.Receive()) == ERROR_SUCCESS &&
      ::MsiViewExecute(view.Get(), key.Get()) == ERROR_SUCCESS &&
      ::MsiViewFetch(view.Get(), record.Receive()) == ERROR_SUCCESS) {
    (void)msi::ReadStream(record.Get(), 1, &bytes);
  }
  return bytes;
}

void Database::Fail(std::wstring reason) {
  if (failure_.empty()) failure_ = std::move(reason);
}

void Database::Run(const std::wstring& sql, const std::vector<Column>& columns,
                   const Cells& values) {
  if (!failure_.empty()) return;
  msi::UniqueMsiView view;
  UINT error = ::MsiDatabaseOpenViewW(database_.Get(), sql.c_str(), view.Receive());
  if (error == ERROR_SUCCESS) {
    error = ::MsiViewExecute(view.Get(), MakeRecord(columns, values).Get());
  }
  if (error == ERROR_SUCCESS) return;
  std::wstring reason = L"the installer answers " + util::ToDecimal(error) + L" to: " + sql;
  for (const auto& [column, value] : values) reason += L" [" + column + L"=" + value + L"]";
  Fail(std::move(reason));
}

void Database::Create(const std::wstring& table, const std::vector<Column>& columns) {
  std::wstring definitions;
  std::wstring keys;
  for (const Column& column : columns) {
    definitions += (definitions.empty() ? L"" : L", ") + Definition(column);
    if (column.is_key) keys += (keys.empty() ? L"" : L", ") + Quoted(column.name);
  }
  Run(L"CREATE TABLE " + Quoted(table) + L" (" + definitions + L" PRIMARY KEY " + keys + L")", {},
      {});
}

void Database::Drop(const std::wstring& table) { Run(L"DROP TABLE " + Quoted(table), {}, {}); }

void Database::Insert(const std::wstring& table, const Cells& cells) {
  std::wstring columns;
  std::wstring marks;
  for (const auto& [column, value] : cells) {
    columns += (columns.empty() ? L"" : L", ") + Quoted(column);
    marks += marks.empty() ? L"?" : L", ?";
    if (!CanHold(value)) {
      Fail(L"the package's code page " + util::ToDecimal(code_page_) + L" cannot hold \"" + value +
           L"\"");
    }
  }
  Run(L"INSERT INTO " + Quoted(table) + L" (" + columns + L") VALUES (" + marks + L")",
      ColumnsOf(table), cells);
}

void Database::Update(const std::wstring& table, const Cells& key, const Cells& cells) {
  std::wstring changes;
  Cells values;
  for (const auto& cell : cells) {
    changes += (changes.empty() ? L"" : L", ") + Quoted(cell.first) + L" = ?";
    values.push_back(cell);
    if (!CanHold(cell.second)) {
      Fail(L"the package's code page " + util::ToDecimal(code_page_) + L" cannot hold \"" +
           cell.second + L"\"");
    }
  }
  for (const auto& cell : WithoutNulls(key)) values.push_back(cell);
  Run(L"UPDATE " + Quoted(table) + L" SET " + changes + L" WHERE " + Matching(key),
      ColumnsOf(table), values);
}

void Database::Delete(const std::wstring& table, const Cells& key) {
  Run(L"DELETE FROM " + Quoted(table) + L" WHERE " + Matching(key), ColumnsOf(table),
      WithoutNulls(key));
  // Wine keeps the stream of a row that is gone.
  const Cells stream = {{L"Name", L"Binary." + key.front().second}};
  if (table == L"Binary" &&
      !Select(L"SELECT `Name` FROM `_Streams` WHERE `Name` = ?", {}, stream).rows.empty()) {
    Run(L"DELETE FROM `_Streams` WHERE `Name` = ?", {}, stream);
  }
}

void Database::SetPackageCode(const std::wstring& code) {
  if (!failure_.empty()) return;
  msi::UniqueMsiHandle summary;
  UINT error = ::MsiGetSummaryInformationW(database_.Get(), nullptr, 1, summary.Receive());
  if (error == ERROR_SUCCESS) {
    error = ::MsiSummaryInfoSetPropertyW(summary.Get(), kPackageCode, VT_LPSTR, 0, nullptr,
                                         code.c_str());
  }
  if (error == ERROR_SUCCESS) error = ::MsiSummaryInfoPersist(summary.Get());
  if (error != ERROR_SUCCESS) Fail(L"the summary information cannot be written");
}

UINT Database::CodePage() const { return code_page_; }

bool Database::CanHold(const std::wstring& text) const {
  if (std::all_of(text.begin(), text.end(), [](wchar_t one) { return one < 0x80; })) return true;
  if (code_page_ == CP_UTF8) return true;
  if (code_page_ == 0) return false;
  BOOL replaced = FALSE;
  const int length = static_cast<int>(text.size());
  return ::WideCharToMultiByte(code_page_, WC_NO_BEST_FIT_CHARS, text.data(), length, nullptr, 0,
                               nullptr, &replaced) > 0 &&
         !replaced;
}

void Database::Commit() {
  if (failure_.empty()) {
    if (const UINT error = ::MsiDatabaseCommit(database_.Get())) {
      Fail(L"the package cannot be written (error " + util::ToDecimal(error) + L")");
    }
  }
  database_.Reset();
}

}  // namespace kit
