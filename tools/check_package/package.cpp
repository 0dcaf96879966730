#include "package.h"

#include "util/text.h"

namespace check {
namespace {

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

}  // namespace

Package::~Package() {
  session_.reset();
  install_.Reset();
  if (old_ui_) ::MsiSetInternalUI(*old_ui_, nullptr);
}

DWORD Package::Open(const std::wstring& path) {
  path_ = FullPath(path);
  folder_ = path_.substr(0, path_.rfind(L'\\') + 1);
  if (const UINT error = ::MsiOpenDatabaseW(path_.c_str(), MSIDBOPEN_READONLY, database_.Receive()))
    return error;
  OpenSession();
  return ERROR_SUCCESS;
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

bool Package::HasTable(const wchar_t* table) const {
  return ::MsiDatabaseIsTablePersistentW(database_.Get(), table) == MSICONDITION_TRUE;
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

std::vector<msi::TableRow> Package::Rows(const wchar_t* table,
                                         std::initializer_list<const wchar_t*> columns) const {
  if (!HasTable(table)) return {};
  // A snapshot keeps the database that it reads, so each has one of its own.
  msi::TableSnapshot snapshot(OpenDatabase(), table);
  snapshot.Load(columns);
  return {snapshot.begin(), snapshot.end()};
}

std::vector<unsigned char> Package::BinaryData(const std::wstring& name) const {
  if (!HasTable(L"Binary") || name.find(L'\'') != name.npos) return {};
  msi::TableSnapshot snapshot(OpenDatabase(), L"Binary");
  snapshot.Load({L"Data"}, {}, (L"`Name` = '" + name + L"'").c_str());
  return snapshot.streams().empty() ? std::vector<unsigned char>() : snapshot.streams().front();
}

std::wstring Package::DefaultOf(const std::wstring& property) const {
  for (const msi::TableRow& row : Rows(L"Property", {L"Property", L"Value"})) {
    if (row.Get(L"Property") == property) return row.Get(L"Value");
  }
  return {};
}

std::optional<MSICONDITION> Package::Evaluate(const std::wstring& condition) const {
  if (!session_) return std::nullopt;
  return session_->GetConditionState(condition);
}

std::optional<MSICONDITION> Package::EvaluateAt(int ui_level, const std::wstring& condition) const {
  if (!session_) return std::nullopt;
  const std::wstring own = session_->GetProperty(L"UILevel");
  session_->SetProperty(L"UILevel", util::ToSignedDecimal(ui_level));
  const MSICONDITION state = session_->GetConditionState(condition);
  session_->SetProperty(L"UILevel", own);
  return state;
}

}  // namespace check
