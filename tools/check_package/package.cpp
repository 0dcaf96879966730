#include "package.h"

#include <msiquery.h>

#include <algorithm>

#include "util/text.h"

namespace check {
namespace {

constexpr UINT kRevisionNumber = 9;  // Where the summary information keeps the package code.

std::wstring FullPath(const std::wstring& path) {
  const DWORD size = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  std::wstring full(size, L'\0');
  full.resize(::GetFullPathNameW(path.c_str(), size, full.data(), nullptr));
  return full;
}

std::wstring FieldText(MSIHANDLE record, UINT field) {
  std::wstring text;
  (void)msi::ReadSized(
      [=](wchar_t* buffer, DWORD* length) {
        return ::MsiRecordGetStringW(record, field, buffer, length);
      },
      &text);
  return text;
}

// The condition once without and once with the values, which do not outlast the call.
class ScopedValues {
 public:
  ScopedValues(const msi::InstallerSession& session, const Values& values) : session_(session) {
    for (const auto& [name, value] : values) {
      const std::wstring own = session.GetProperty(name);
      if (own == value) continue;
      own_[name] = own;
      session.SetProperty(name, value);
    }
  }
  ScopedValues(const ScopedValues&) = delete;
  ScopedValues& operator=(const ScopedValues&) = delete;
  ~ScopedValues() {
    for (const auto& [name, value] : own_) session_.SetProperty(name, value);
  }

 private:
  const msi::InstallerSession& session_;
  Values own_;
};

}  // namespace

Package::~Package() {
  session_.reset();
  install_.Reset();
  if (old_ui_) ::MsiSetInternalUI(*old_ui_, nullptr);
}

DWORD Package::Open(const std::wstring& path) {
  const DWORD error = OpenToRead(path);
  if (error == ERROR_SUCCESS) OpenSession();
  return error;
}

DWORD Package::OpenToRead(const std::wstring& path) {
  path_ = FullPath(path);
  folder_ = path_.substr(0, path_.rfind(L'\\') + 1);
  return ::MsiOpenDatabaseW(path_.c_str(), MSIDBOPEN_READONLY, database_.Receive());
}

void Package::OpenSession() {
  old_ui_ = ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
  // Without a look at what is installed on the author's machine.
  session_error_ = ::MsiOpenPackageExW(path_.c_str(), MSIOPENPACKAGEFLAGS_IGNOREMACHINESTATE,
                                       install_.Receive());
  if (session_error_ == ERROR_SUCCESS) session_.emplace(install_.Get());
}

msi::UniqueMsiHandle Package::OpenDatabase() const {
  msi::UniqueMsiHandle database;
  (void)::MsiOpenDatabaseW(path_.c_str(), MSIDBOPEN_READONLY, database.Receive());
  return database;
}

bool Package::HasTable(const std::wstring& table) const {
  return ::MsiDatabaseIsTablePersistentW(database_.Get(), table.c_str()) == MSICONDITION_TRUE;
}

std::vector<std::wstring> Package::TextTables() const {
  std::vector<std::wstring> tables;
  msi::TableSnapshot snapshot(OpenDatabase(), L"_Tables");
  snapshot.Load({L"Name"});
  for (const msi::TableRow& row : snapshot) {
    const std::vector<Column> columns = Columns(row.Get(L"Name"));
    const bool has_stream = std::any_of(columns.begin(), columns.end(),
                                        [](const Column& column) { return column.type == L'v'; });
    if (!has_stream) tables.push_back(row.Get(L"Name"));
  }
  return tables;
}

std::vector<Column> Package::Columns(const std::wstring& table) const {
  std::vector<Column> columns;
  msi::UniqueMsiView view;
  msi::UniqueMsiHandle names;
  msi::UniqueMsiHandle types;
  const std::wstring sql = L"SELECT * FROM `" + table + L"`";
  if (::MsiDatabaseOpenViewW(database_.Get(), sql.c_str(), view.Receive()) != ERROR_SUCCESS ||
      ::MsiViewGetColumnInfo(view.Get(), MSICOLINFO_NAMES, names.Receive()) != ERROR_SUCCESS ||
      ::MsiViewGetColumnInfo(view.Get(), MSICOLINFO_TYPES, types.Receive()) != ERROR_SUCCESS) {
    return columns;
  }
  for (UINT field = 1; field <= ::MsiRecordGetFieldCount(names.Get()); ++field) {
    columns.push_back(
        {FieldText(names.Get(), field), util::FoldAscii(FieldText(types.Get(), field)[0])});
  }
  return columns;
}

const std::vector<msi::TableRow>& Package::Rows(const std::wstring& table) const {
  const auto [place, is_new] = tables_.try_emplace(table);
  if (is_new && HasTable(table)) {
    // A snapshot keeps the database that it reads, so each has one of its own.
    msi::TableSnapshot snapshot(OpenDatabase(), table);
    snapshot.Load({});
    place->second.assign(snapshot.begin(), snapshot.end());
  }
  return place->second;
}

std::set<std::wstring> Package::Cells(const std::wstring& table, const wchar_t* column) const {
  std::set<std::wstring> cells;
  for (const msi::TableRow& row : Rows(table)) cells.insert(row.Get(column));
  return cells;
}

const std::set<std::wstring>& Package::BinaryNames() const {
  if (!binaries_) {
    binaries_.emplace();
    if (HasTable(L"Binary")) {
      msi::TableSnapshot snapshot(OpenDatabase(), L"Binary");
      snapshot.Load({L"Name"});
      for (const msi::TableRow& row : snapshot) binaries_->insert(row.Get(L"Name"));
    }
  }
  return *binaries_;
}

std::vector<unsigned char> Package::BinaryData(const std::wstring& name) const {
  if (!HasTable(L"Binary") || name.find(L'\'') != name.npos) return {};
  msi::TableSnapshot snapshot(OpenDatabase(), L"Binary");
  snapshot.Load({L"Data"}, {}, (L"`Name` = '" + name + L"'").c_str());
  return snapshot.streams().empty() ? std::vector<unsigned char>() : snapshot.streams().front();
}

std::wstring Package::DefaultOf(const std::wstring& property) const {
  if (!defaults_) {
    defaults_.emplace();
    for (const msi::TableRow& row : Rows(L"Property")) {
      (*defaults_)[row.Get(L"Property")] = row.Get(L"Value");
    }
  }
  const auto found = defaults_->find(property);
  return found == defaults_->end() ? std::wstring() : found->second;
}

std::wstring Package::PackageCode() const {
  msi::UniqueMsiHandle summary;
  std::wstring code;
  if (::MsiGetSummaryInformationW(database_.Get(), nullptr, 0, summary.Receive()) !=
      ERROR_SUCCESS) {
    return code;
  }
  (void)msi::ReadSized(
      [&](wchar_t* buffer, DWORD* length) {
        UINT type = 0;
        return ::MsiSummaryInfoGetPropertyW(summary.Get(), kRevisionNumber, &type, nullptr, nullptr,
                                            buffer, length);
      },
      &code);
  return code;
}

std::optional<MSICONDITION> Package::Evaluate(const std::wstring& condition,
                                              const Values& values) const {
  if (!session_) return std::nullopt;
  const ScopedValues scope(*session_, values);
  return session_->GetConditionState(condition);
}

std::wstring Package::Format(const std::wstring& text) const {
  return session_ ? msi::FormatText(*session_, text) : std::wstring();
}

}  // namespace check
