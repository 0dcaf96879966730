#include "msi/table_snapshot.h"

#include <algorithm>
#include <cwchar>

#include "msi/streams.h"
#include "util/text.h"

namespace msi {
namespace {

constexpr wchar_t kStreamCell[] = L"{Binary Data}";
constexpr DWORD kColumnNameChars = 255;
constexpr UINT kNoFieldCount = 0xFFFFFFFF;  // Of a record that is none.

std::wstring Quoted(const wchar_t* name) { return L"`" + std::wstring(name) + L"`"; }

// The separator is a bare comma. Names that are not `known`, if anything is given, are left out.
std::wstring QuotedList(TableSnapshot::Names names, const TableRow::Columns* known) {
  std::wstring list;
  for (const wchar_t* name : names) {
    if (known != nullptr && std::find(known->begin(), known->end(), name) == known->end()) continue;
    if (!list.empty()) list += L',';
    list += Quoted(name);
  }
  return list;
}

auto TextReader(MSIHANDLE record, UINT field) {
  return [=](wchar_t* buffer, DWORD* length) {
    return ::MsiRecordGetStringW(record, field, buffer, length);
  };
}

// The first character of a type definition such as "s72" says what the column holds.
bool IsText(wchar_t type) { return type == L's' || type == L'l'; }
bool IsInteger(wchar_t type) { return type == L'i'; }
bool IsStream(wchar_t type) { return type == L'v'; }
bool IsKept(wchar_t type) { return IsText(type) || IsInteger(type) || IsStream(type); }

// The mark of the cell at that place; see TableRow.
uint32_t UnreadBit(size_t place) { return uint32_t{1} << std::min<size_t>(place, 31); }

}  // namespace

TableRow::TableRow(std::shared_ptr<const Columns> columns, std::wstring_view cells, uint32_t unread)
    : columns_(std::move(columns)), unread_(unread), cells_(cells) {}

size_t TableRow::Find(const wchar_t* column) const {
  for (size_t i = columns_->size(); i-- > 0;) {
    if ((*columns_)[i] == column) return i;
  }
  return columns_->size();
}

std::wstring TableRow::Get(const wchar_t* column) const {
  size_t place = Find(column);
  if (place == columns_->size()) return {};
  const wchar_t* cell = cells_.c_str();
  for (; place > 0; --place) cell += std::wcslen(cell) + 1;
  return cell;
}

bool TableRow::WasRead(const wchar_t* column) const {
  const size_t place = Find(column);
  return place == columns_->size() || (unread_ & UnreadBit(place)) == 0;
}

TableSnapshot::TableSnapshot(UniqueMsiHandle database, std::wstring table)
    : table_(std::move(table)),
      database_(std::move(database)),
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
  return ready_ && RunQuery(L"SELECT * FROM " + tables + L" WHERE " + links) &&
         Fetch(nullptr, kNoSizeLimit);
}

bool TableSnapshot::Query(Names columns, Names order_columns, const wchar_t* condition) {
  const std::wstring stated = Statement(columns, order_columns, condition);
  if (!ready_ || RunQuery(stated)) return ready_;
  // A query that names a column which the table has not cannot be run at all.
  if (!RunQuery(Statement({}, {}, nullptr))) return false;
  std::wstring known = Statement(columns, order_columns, condition, columns_.get());
  ready_ = known != stated && RunQuery(std::move(known));
  return ready_;
}

std::wstring TableSnapshot::Statement(Names columns, Names order_columns, const wchar_t* condition,
                                      const TableRow::Columns* known) const {
  const std::wstring list = QuotedList(columns, known);
  const std::wstring order = QuotedList(order_columns, known);
  std::wstring query = L"SELECT ";
  query += list.empty() ? L"*" : list;
  query += L" FROM " + Quoted(table_.c_str());
  if (condition != nullptr) query += std::wstring(L" WHERE ") + condition;
  if (!order.empty()) query += L" ORDER BY " + order;
  return query;
}

bool TableSnapshot::RunQuery(std::wstring query) {
  query_ = std::move(query);
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
  // Not std::make_shared: its hidden tag drags the exception code of the run-time library in.
  columns_.reset(new TableRow::Columns);
  types_.clear();
  const UINT count = ::MsiRecordGetFieldCount(names.Get());
  if (count == kNoFieldCount) return false;
  for (UINT field = 1; field <= count; ++field) {
    wchar_t name[kColumnNameChars];
    DWORD length = kColumnNameChars;
    if (::MsiRecordGetStringW(names.Get(), field, name, &length) != ERROR_SUCCESS) return false;
    std::wstring definition;
    if (ReadSized(TextReader(types.Get(), field), &definition) != ERROR_SUCCESS) return false;
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
  size_t end = 0;
  size_t place = 0;
  uint32_t unread = 0;
  for (UINT field = 1; field <= types_.size(); ++field) {
    if (!IsKept(types_[field - 1])) continue;
    if (!ReadCell(field, types_[field - 1], &end)) unread |= UnreadBit(place);
    ++place;
  }
  TableRow row(columns_, std::wstring_view(buffer_.data(), end), unread);
  for (UINT field = 1; field <= types_.size(); ++field) {
    if (IsStream(types_[field - 1])) ReadStreamCell(field, row, extractor, size_limit_bytes);
  }
  return row;
}

// Puts the cell's text at the place `at` of the buffer, which is moved to where the next one goes.
// False, with an empty text, when the cell could not be read.
bool TableSnapshot::ReadCell(UINT field, wchar_t type, size_t* at) {
  bool was_read = true;
  if (IsText(type)) {
    was_read = ReadSizedAt(TextReader(record_.Get(), field), &buffer_, at) == ERROR_SUCCESS;
  } else {
    std::wstring text;
    if (IsStream(type)) {
      text = kStreamCell;
    } else if (const int value = ::MsiRecordGetInteger(record_.Get(), field);
               value != static_cast<int>(MSI_NULL_INTEGER)) {
      text = util::ToSignedDecimal(value);
    } else {
      // The same number says that there is none and that it could not be read.
      was_read = ::MsiRecordIsNull(record_.Get(), field) != FALSE;
    }
    buffer_.replace(*at, text.size(), text);
    *at += text.size();
  }
  if (buffer_.size() <= *at) buffer_.resize(*at + 1);
  buffer_[*at] = L'\0';
  ++*at;
  return was_read;
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
