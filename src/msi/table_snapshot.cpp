#include "msi/table_snapshot.h"

#include <cwchar>

#include "msi/streams.h"
#include "util/text.h"

namespace msi {
namespace {

constexpr wchar_t kStreamCell[] = L"{Binary Data}";
constexpr DWORD kColumnNameChars = 255;

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

auto TextReader(MSIHANDLE record, UINT field) {
  return [=](wchar_t* buffer, DWORD* length) {
    return ::MsiRecordGetStringW(record, field, buffer, length);
  };
}

// The first letter of a type definition such as "s72" says what the column holds.
bool IsText(wchar_t type) { return type == L's' || type == L'l'; }
bool IsInteger(wchar_t type) { return type == L'i'; }
bool IsStream(wchar_t type) { return type == L'v'; }
bool IsKept(wchar_t type) { return IsText(type) || IsInteger(type) || IsStream(type); }

}  // namespace

TableRow::TableRow(std::shared_ptr<const Columns> columns, std::wstring_view cells)
    : columns_(std::move(columns)), cells_(cells) {}

std::wstring TableRow::Get(const wchar_t* column) const {
  for (size_t i = columns_->size(); i-- > 0;) {
    if ((*columns_)[i] != column) continue;
    const wchar_t* cell = cells_.c_str();
    for (; i > 0; --i) cell += std::wcslen(cell) + 1;
    return cell;
  }
  return {};
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
  // Not std::make_shared: its hidden tag drags the exception code of the run-time library in.
  columns_.reset(new TableRow::Columns);
  types_.clear();
  const UINT count = ::MsiRecordGetFieldCount(names.Get());
  for (UINT field = 1; field <= count; ++field) {
    wchar_t name[kColumnNameChars];
    DWORD length = kColumnNameChars;
    if (::MsiRecordGetStringW(names.Get(), field, name, &length) != ERROR_SUCCESS) return false;
    std::wstring definition;  // Stays empty when it cannot be read.
    (void)ReadSized(TextReader(types.Get(), field), &definition);
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
  for (UINT field = 1; field <= types_.size(); ++field) {
    if (IsKept(types_[field - 1])) end = ReadCell(field, types_[field - 1], end);
  }
  TableRow row(columns_, std::wstring_view(buffer_.data(), end));
  for (UINT field = 1; field <= types_.size(); ++field) {
    if (IsStream(types_[field - 1])) ReadStreamCell(field, row, extractor, size_limit_bytes);
  }
  return row;
}

// Puts the cell's text at that place of the buffer and answers where the next one goes.
size_t TableSnapshot::ReadCell(UINT field, wchar_t type, size_t at) {
  if (IsText(type)) {
    // What could not be read is empty.
    (void)ReadSizedAt(TextReader(record_.Get(), field), &buffer_, &at);
  } else {
    std::wstring text;
    if (IsStream(type)) {
      text = kStreamCell;
    } else if (const int value = ::MsiRecordGetInteger(record_.Get(), field);
               value != static_cast<int>(MSI_NULL_INTEGER)) {
      text = util::ToSignedDecimal(value);
    }
    buffer_.replace(at, text.size(), text);
    at += text.size();
  }
  if (buffer_.size() <= at) buffer_.resize(at + 1);
  buffer_[at] = L'\0';
  return at + 1;
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
