#include "msi/table_snapshot.h"

#include <algorithm>

#include "msi/streams.h"
#include "util/text.h"

namespace msi {
namespace {

constexpr wchar_t kStreamCell[] = L"{Binary Data}";
constexpr DWORD kColumnNameChars = 255;

const std::wstring kNoCell;

std::wstring Quoted(const wchar_t* name) { return L"`" + std::wstring(name) + L"`"; }

// The separator is a bare comma.
std::wstring QuotedList(TableSnapshot::Names names) {
  std::wstring list;
  for (const wchar_t* name : names) {
    if (!list.empty()) list += L',';
    list += Quoted(name);
  }
  return list;
}

std::wstring ReadText(MSIHANDLE record, UINT field) {
  std::wstring text;
  // What could not be read is empty.
  (void)ReadSized(
      [&](wchar_t* buffer, DWORD* length) {
        return ::MsiRecordGetStringW(record, field, buffer, length);
      },
      &text);
  return text;
}

// The first letter of a type definition such as "s72" says what the column holds.
bool IsText(wchar_t type) { return type == L's' || type == L'l'; }
bool IsInteger(wchar_t type) { return type == L'i'; }
bool IsStream(wchar_t type) { return type == L'v'; }
bool IsKept(wchar_t type) { return IsText(type) || IsInteger(type) || IsStream(type); }

}  // namespace

TableRow::TableRow(std::shared_ptr<const Columns> columns, std::vector<std::wstring> cells)
    : columns_(std::move(columns)), cells_(std::move(cells)) {}

const std::wstring& TableRow::Get(const wchar_t* column) const {
  for (size_t i = columns_->size(); i-- > 0;) {
    if ((*columns_)[i] == column) return i < cells_.size() ? cells_[i] : kNoCell;
  }
  return kNoCell;
}

TableSnapshot::TableSnapshot(MSIHANDLE install, std::wstring table, UniqueMsiHandle database)
    : table_(std::move(table)),
      database_(install != 0 ? UniqueMsiHandle(::MsiGetActiveDatabase(install))
                             : std::move(database)),
      ready_(static_cast<bool>(database_)) {}

bool TableSnapshot::Load(Names columns, Names order_columns, const wchar_t* condition) {
  return Query(columns, order_columns, condition) && Fetch(nullptr, kNoSizeLimit);
}

bool TableSnapshot::LoadJoined(std::initializer_list<Join> joins) {
  std::wstring tables;
  std::wstring links;
  for (const Join& join : joins) {
    const Join& first = *joins.begin();
    if (&join != &first) {
      tables += L", ";
      if (!links.empty()) links += L" AND ";
      links += Quoted(first.table) + L'.' + Quoted(first.key_column) + L" = " + Quoted(join.table) +
               L'.' + Quoted(join.key_column);
    }
    tables += Quoted(join.table);
  }
  query_ = L"SELECT * FROM " + tables + L" WHERE " + links;
  return RunQuery() && Fetch(nullptr, kNoSizeLimit);
}

bool TableSnapshot::Query(Names columns, Names order_columns, const wchar_t* condition) {
  query_ = L"SELECT ";
  query_ += columns.size() != 0 ? QuotedList(columns) : L"*";
  query_ += L" FROM " + Quoted(table_.c_str());
  if (condition != nullptr) query_ += std::wstring(L" WHERE ") + condition;
  if (order_columns.size() != 0) query_ += L" ORDER BY " + QuotedList(order_columns);
  return RunQuery();
}

bool TableSnapshot::RunQuery() {
  if (!ready_) return false;
  rows_.clear();
  streams_.clear();
  ready_ =
      ::MsiDatabaseOpenViewW(database_.Get(), query_.c_str(), view_.Receive()) == ERROR_SUCCESS &&
      ::MsiViewExecute(view_.Get(), 0) == ERROR_SUCCESS && ReadColumns();
  return ready_;
}

bool TableSnapshot::ReadColumns() {
  UniqueMsiHandle names;
  UniqueMsiHandle types;
  if (::MsiViewGetColumnInfo(view_.Get(), MSICOLINFO_NAMES, names.Receive()) != ERROR_SUCCESS ||
      ::MsiViewGetColumnInfo(view_.Get(), MSICOLINFO_TYPES, types.Receive()) != ERROR_SUCCESS) {
    return false;
  }
  columns_ = std::make_shared<TableRow::Columns>();
  types_.clear();
  const UINT count = ::MsiRecordGetFieldCount(names.Get());
  for (UINT field = 1; field <= count; ++field) {
    wchar_t name[kColumnNameChars];
    DWORD length = kColumnNameChars;
    if (::MsiRecordGetStringW(names.Get(), field, name, &length) != ERROR_SUCCESS) return false;
    const std::wstring definition = ReadText(types.Get(), field);
    types_ += definition.empty() ? L'?' : util::FoldAscii(definition.front());
    if (IsKept(types_.back())) columns_->emplace_back(name, length);
  }
  return true;
}

bool TableSnapshot::Fetch(const StreamExtractor* extractor, DWORD size_limit_bytes) {
  if (!ready_) return false;
  while (::MsiViewFetch(view_.Get(), record_.Receive()) == ERROR_SUCCESS) {
    rows_.push_back(ReadRow(extractor, size_limit_bytes));
  }
  return !rows_.empty();
}

TableRow TableSnapshot::ReadRow(const StreamExtractor* extractor, DWORD size_limit_bytes) {
  std::vector<std::wstring> cells;
  cells.reserve(columns_->size());
  for (UINT field = 1; field <= types_.size(); ++field) {
    if (IsKept(types_[field - 1])) cells.push_back(ReadCell(field, types_[field - 1]));
  }
  TableRow row(columns_, std::move(cells));
  for (UINT field = 1; field <= types_.size(); ++field) {
    if (IsStream(types_[field - 1])) ReadStreamCell(field, row, extractor, size_limit_bytes);
  }
  return row;
}

std::wstring TableSnapshot::ReadCell(UINT field, wchar_t type) const {
  if (IsText(type)) return ReadText(record_.Get(), field);
  if (IsStream(type)) return kStreamCell;
  const int value = ::MsiRecordGetInteger(record_.Get(), field);
  return value == static_cast<int>(MSI_NULL_INTEGER) ? std::wstring()
                                                     : util::ToSignedDecimal(value);
}

void TableSnapshot::ReadStreamCell(UINT field, const TableRow& row,
                                   const StreamExtractor* extractor, DWORD size_limit_bytes) {
  if (extractor == nullptr) {
    streams_.emplace_back();
    (void)ReadStream(record_.Get(), field, &streams_.back());  // An unread stream stays empty.
  } else if (::MsiRecordDataSize(record_.Get(), field) <= size_limit_bytes) {
    // A stream that could not be written is missed by whoever wants the file.
    (void)WriteStreamToFile(record_.Get(), field, extractor->folder + L'\\' + row.Get(L"Name"));
  }
}

}  // namespace msi
