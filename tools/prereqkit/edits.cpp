#include "edits.h"

#include <algorithm>
#include <iterator>

#include "util/md5.h"
#include "util/text.h"

namespace kit {
namespace {

constexpr const wchar_t* kKinds[] = {L"table", L"row", L"cell", L"name"};
constexpr wchar_t kSecureNames[] = L"SecureCustomProperties";
// Of a cell that was changed: what it held before.
constexpr wchar_t kBefore[] = L"before";

std::wstring DigestOf(const void* bytes, size_t size) {
  util::Md5 md5;
  md5.Update(bytes, size);
  return util::ToWide(md5.Finish());
}

std::wstring Escaped(const std::wstring& text) {
  std::wstring result;
  for (const wchar_t one : text) {
    if (one == L'\\' || one == L'|' || one == L'=') {
      result += L'\\';
    }
    result += one;
  }
  return result;
}

// What a row is called in the report. The rows of `_Validation` about one table go by one name.
std::wstring RowName(const std::wstring& table, const Cells& key) {
  return table + L" " + (table == L"_Validation" ? key.front().second : Named(key));
}

Cells SecureNamesKey() { return {{L"Property", kSecureNames}}; }

std::wstring Joined(const std::vector<std::wstring>& names) {
  std::wstring list;
  for (const std::wstring& name : names) list += (list.empty() ? L"" : L";") + name;
  return list;
}

}  // namespace

std::wstring ToText(const Cells& cells) {
  std::wstring text;
  for (const auto& [column, value] : cells) {
    text += (text.empty() ? L"" : L"|") + column + L"=" + Escaped(value);
  }
  return text;
}

Cells FromText(const std::wstring& text) {
  Cells cells;
  std::wstring column;
  std::wstring piece;
  const auto finish = [&] {
    if (!column.empty()) cells.emplace_back(std::move(column), std::move(piece));
    column.clear();
    piece.clear();
  };
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == L'\\' && i + 1 < text.size()) {
      piece += text[++i];
    } else if (text[i] == L'|') {
      finish();
    } else if (text[i] == L'=') {
      column = std::move(piece);
      piece.clear();
    } else {
      piece += text[i];
    }
  }
  finish();
  return cells;
}

std::wstring Named(const Cells& key) {
  std::wstring name;
  for (const auto& [column, value] : key) {
    if (!value.empty()) name += (name.empty() ? L"" : L"/") + value;
  }
  return name;
}

std::vector<Column> LedgerColumns() {
  return {{L"Number", L"i2", true}, {L"Kind", L"s8"},    {L"Target", L"S72"},
          {L"Row", L"S0"},          {L"Content", L"S0"}, {L"Prereq_", L"S72"}};
}

void Edits::Load() {
  const Table table = database_.Read(kLedger);
  std::vector<size_t> order(table.rows.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::sort(order.begin(), order.end(), [&](size_t one, size_t other) {
    return util::ParseDecimal<int>(table.Get(one, L"Number")) <
           util::ParseDecimal<int>(table.Get(other, L"Number"));
  });
  for (const size_t i : order) {
    const auto kind = std::find(std::begin(kKinds), std::end(kKinds), table.Get(i, L"Kind"));
    if (kind == std::end(kKinds)) continue;
    entries_.push_back({static_cast<Kind>(kind - std::begin(kKinds)), table.Get(i, L"Target"),
                        FromText(table.Get(i, L"Row")), FromText(table.Get(i, L"Content")),
                        table.Get(i, L"Prereq_")});
  }
}

void Edits::Save() {
  if (database_.HasTable(kLedger)) database_.Drop(kLedger);
  if (entries_.empty()) return;
  database_.Create(kLedger, LedgerColumns());
  uint64_t number = 0;
  for (const Entry& entry : entries_) {
    database_.Insert(kLedger, {{L"Number", util::ToDecimal(++number)},
                               {L"Kind", kKinds[static_cast<size_t>(entry.kind)]},
                               {L"Target", entry.table},
                               {L"Row", ToText(entry.key)},
                               {L"Content", ToText(entry.content)},
                               {L"Prereq_", entry.group}});
  }
}

size_t Edits::IndexOf(Kind kind, const std::wstring& table, const Cells& key,
                      const std::wstring& column) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return entry.kind == kind && entry.table == table && entry.key == key &&
           (column.empty() || entry.content.front().first == column);
  });
  return static_cast<size_t>(found - entries_.begin());
}

Edits::Entry* Edits::FindEntry(Kind kind, const std::wstring& table, const Cells& key,
                               const std::wstring& column) {
  const size_t i = IndexOf(kind, table, key, column);
  return i < entries_.size() ? &entries_[i] : nullptr;
}

void Edits::Add(Kind kind, const std::wstring& table, const Cells& key, const Cells& content) {
  entries_.push_back({kind, table, key, content, group_});
}

void Edits::EnsureTable(const std::wstring& table, const std::vector<Column>& columns) {
  if (database_.HasTable(table)) return;
  database_.Create(table, columns);
  report_.Added(L"table " + table);
  if (FindEntry(Kind::kTable, table, {}) == nullptr) Add(Kind::kTable, table, {}, {});
}

bool Edits::IsAsPutIn(const Entry& entry) const {
  const Table found = database_.Find(entry.table, entry.key);
  if (found.rows.empty()) return false;
  return std::all_of(entry.content.begin(), entry.content.end(), [&](const auto& cell) {
    if (found.IndexOf(cell.first) == found.columns.size()) return true;
    if (found.columns[found.IndexOf(cell.first)].IsStream()) {
      const std::vector<unsigned char> bytes = database_.Stream(entry.key.front().second);
      return DigestOf(bytes.data(), bytes.size()) == cell.second;
    }
    return found.Get(0, cell.first) == cell.second;
  });
}

bool Edits::PutRow(const std::wstring& table, const Cells& key, const Cells& rest,
                   const std::wstring& what) {
  const std::wstring name = what.empty() ? RowName(table, key) : what;
  Entry* const entry = FindEntry(Kind::kRow, table, key);
  const bool is_there = database_.Has(table, key);
  if (entry == nullptr) {
    if (is_there) {
      report_.Kept(name + L": the package has this row, it stays as it is");
      return false;
    }
    Cells cells = key;
    cells.insert(cells.end(), rest.begin(), rest.end());
    database_.Insert(table, cells);
    Add(Kind::kRow, table, key, rest);
    report_.Added(name);
    return true;
  }
  if (!is_there) {
    report_.Kept(name + L": you took this row out, it is not put in again");
    return false;
  }
  if (!IsAsPutIn(*entry)) {
    report_.Kept(name + L": you changed this row, it stays as it is");
    return false;
  }
  if (entry->content != rest) {
    database_.Update(table, key, rest);
    entry->content = rest;
    report_.Changed(name);
  }
  return true;
}

void Edits::PutFile(const std::wstring& name, const std::wstring& path) {
  const std::wstring digest = util::ToWide(util::ReadFileMd5(path).value_or(""));
  const Cells key = {{L"Name", name}};
  Entry* const entry = FindEntry(Kind::kRow, L"Binary", key);
  const std::wstring what = L"Binary " + name;
  if (digest.empty()) {
    report_.Refuse(path + L" cannot be read");
  } else if (entry == nullptr && database_.Has(L"Binary", key)) {
    report_.Kept(what + L": the package has a file of this name, it stays as it is");
  } else if (entry == nullptr) {
    database_.Insert(L"Binary", {key.front(), {L"Data", path}});
    Add(Kind::kRow, L"Binary", key, {{L"Data", digest}});
    report_.Added(what);
  } else if (!IsAsPutIn(*entry)) {
    report_.Kept(what + L": you changed this file, it stays as it is");
  } else if (entry->content.front().second != digest) {
    database_.Delete(L"Binary", key);
    database_.Insert(L"Binary", {key.front(), {L"Data", path}});
    entry->content = {{L"Data", digest}};
    report_.Changed(what + L": brought up to date");
  }
}

void Edits::ChangeCell(const std::wstring& table, const Cells& key, const std::wstring& column,
                       const std::wstring& value) {
  const Table found = database_.Find(table, key);
  if (found.rows.empty() || found.Get(0, column) == value) return;
  const std::wstring before = found.Get(0, column);
  database_.Update(table, key, {{column, value}});
  report_.Changed(table + L" " + Named(key) + L": " + column + L" " + before + L" -> " + value);
  Entry* entry = FindEntry(Kind::kRow, table, key);
  if (entry != nullptr) {
    for (auto& cell : entry->content) {
      if (cell.first == column) cell.second = value;
    }
    return;
  }
  entry = FindEntry(Kind::kCell, table, key, column);
  if (entry != nullptr) {
    entry->content.front().second = value;
  } else {
    Add(Kind::kCell, table, key, {{column, value}, {kBefore, before}});
  }
}

void Edits::AddSecureName(const std::wstring& name) {
  const std::wstring list = database_.Property(kSecureNames);
  const std::vector<std::wstring> names = util::Split(list, L';');
  if (std::find(names.begin(), names.end(), name) != names.end()) return;
  if (FindEntry(Kind::kName, {}, {{L"Name", name}}) != nullptr) {
    report_.Kept(std::wstring(kSecureNames) + L" " + name + L": you took this name out");
    return;
  }
  if (list.empty()) {
    database_.Insert(L"Property", {SecureNamesKey().front(), {L"Value", name}});
  } else {
    database_.Update(L"Property", SecureNamesKey(), {{L"Value", list + L";" + name}});
  }
  Add(Kind::kName, {}, {{L"Name", name}}, {});
  report_.Added(std::wstring(kSecureNames) + L" " + name);
}

bool Edits::WasPut(const std::wstring& table, const Cells& key) const {
  return IndexOf(Kind::kRow, table, key) < entries_.size();
}

bool Edits::WasCreated(const std::wstring& table) const {
  return IndexOf(Kind::kTable, table, {}) < entries_.size();
}

void Edits::UndoCell(const Entry& entry) {
  const auto& [column, value] = entry.content.front();
  const Table found = database_.Find(entry.table, entry.key);
  if (found.rows.empty()) return;
  const std::wstring what = entry.table + L" " + Named(entry.key) + L": " + column;
  if (found.Get(0, column) != value) {
    report_.Kept(what + L": you changed this cell, it stays as it is");
    return;
  }
  database_.Update(entry.table, entry.key, {{column, entry.content.back().second}});
  report_.Changed(what + L" " + value + L" -> " + entry.content.back().second);
}

void Edits::UndoName(const std::wstring& name) {
  std::vector<std::wstring> names = util::Split(database_.Property(kSecureNames), L';');
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return;
  names.erase(found);
  if (names.empty()) {
    database_.Delete(L"Property", SecureNamesKey());
  } else {
    database_.Update(L"Property", SecureNamesKey(), {{L"Value", Joined(names)}});
  }
  report_.Removed(std::wstring(kSecureNames) + L" " + name);
}

void Edits::Undo(const Entry& entry) {
  switch (entry.kind) {
    case Kind::kTable:
      if (!database_.HasTable(entry.table)) return;
      if (!entry.table.starts_with(L"QX_") && !database_.Read(entry.table).rows.empty()) {
        report_.Kept(L"table " + entry.table + L": it has rows of yours");
        return;
      }
      database_.Drop(entry.table);
      report_.Removed(L"table " + entry.table);
      return;
    case Kind::kRow:
      if (!database_.Has(entry.table, entry.key)) return;
      database_.Delete(entry.table, entry.key);
      report_.Removed(RowName(entry.table, entry.key));
      return;
    case Kind::kCell:
      return UndoCell(entry);
    case Kind::kName:
      return UndoName(entry.key.front().second);
  }
}

void Edits::TakeOutRow(const std::wstring& table, const Cells& key) {
  const size_t i = IndexOf(Kind::kRow, table, key);
  if (i == entries_.size()) return;
  Undo(entries_[i]);
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(i));
}

void Edits::TakeOut(const std::wstring& group) {
  for (size_t i = entries_.size(); i-- > 0;) {
    if (entries_[i].group != group) continue;
    Undo(entries_[i]);
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(i));
  }
}

void Edits::TakeOutAll() {
  while (!entries_.empty()) {
    const Entry entry = std::move(entries_.back());
    entries_.pop_back();
    Undo(entry);
  }
}

}  // namespace kit
