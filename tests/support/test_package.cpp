#include "support/test_package.h"

#include <objbase.h>

#include <doctest.h>

#include <algorithm>
#include <string_view>

#include "support/data_rows.h"
#include "util/text.h"

namespace test {
namespace {

constexpr wchar_t kKitTables[] = PREREQ_PACKAGE_DIR L"\\tables";

// Of the tables that rows are added to.
constexpr std::wstring_view kNumberColumns[] = {L"Location", L"Sequence", L"Order",
                                                L"Type",     L"Platform", L"Display",
                                                L"Level",    L"FileSize", L"Attributes"};

std::wstring Quoted(const std::wstring& text) { return L"'" + text + L"'"; }
std::wstring Number(int value) { return util::ToSignedDecimal(value); }

void SetSummary(MSIHANDLE database) {
  msi::UniqueMsiHandle summary;
  REQUIRE(::MsiGetSummaryInformationW(database, nullptr, 5, summary.Receive()) == ERROR_SUCCESS);
  const auto text = [&](UINT id, const std::wstring& value) {
    ::MsiSummaryInfoSetPropertyW(summary.Get(), id, VT_LPSTR, 0, nullptr, value.c_str());
  };
  const auto number = [&](UINT id, int value) {
    ::MsiSummaryInfoSetPropertyW(summary.Get(), id, VT_I4, value, nullptr, nullptr);
  };
  text(7, L"Intel;1033");  // Platform and language.
  text(9, NewGuid());      // Package code.
  number(14, 200);         // Lowest installer version.
  number(15, 2);           // Files lie beside the package.
  REQUIRE(::MsiSummaryInfoPersist(summary.Get()) == ERROR_SUCCESS);
}

}  // namespace

std::wstring NewGuid() {
  GUID guid;
  wchar_t text[40];
  REQUIRE(SUCCEEDED(::CoCreateGuid(&guid)));
  REQUIRE(::StringFromGUID2(guid, text, 40) == 39);
  return text;
}

TestPackage::TestPackage() : product_code_(NewGuid()) {
  REQUIRE(::MsiOpenDatabaseW(path().c_str(), MSIDBOPEN_CREATE, database_.Receive()) ==
          ERROR_SUCCESS);
  SetSummary(database_.Get());
  for (const DataLine& statement : ReadDataLines("support/package.txt")) Execute(statement.text);
  Import(kKitTables, L"QX_PreRequisite.idt");
  Import(kKitTables, L"Error.idt");
  Import(kKitTables, L"ActionText.idt");
  AddProperty(L"ProductCode", product_code_);
  AddFeature(L"Main", 1, 0);
}

void TestPackage::AddPrerequisite(const Prerequisite& row) {
  AddRow(L"QX_PreRequisite", {{L"Prereq", L"key-" + row.name},
                              {L"DisplayName", row.name},
                              {L"SetupFileUrl", row.url},
                              {L"Location", row.location},
                              {L"TargetName", row.target},
                              {L"ExactSize", row.size},
                              {L"MD5", row.md5},
                              {L"ComLine", row.arguments},
                              {L"Options", row.options},
                              {L"Sequence", Number(row.sequence)},
                              {L"Languages", row.languages},
                              {L"MissingCondition", row.missing},
                              {L"Feature_", row.feature}});
}

void TestPackage::AddRow(const std::wstring& table, const Cells& cells) {
  std::wstring columns;
  std::wstring values;
  for (const auto& [column, value] : cells) {
    // A number that is not given is a null; a text cannot be told from one.
    if (value.empty()) continue;
    const bool is_number = std::ranges::count(kNumberColumns, column) != 0;
    columns += (columns.empty() ? L"`" : L",`") + column + L"`";
    values += (values.empty() ? L"" : L",") + (is_number ? value : Quoted(value));
  }
  Execute(L"INSERT INTO `" + table + L"` (" + columns + L") VALUES (" + values + L")");
}

void TestPackage::AddProperty(const std::wstring& name, const std::wstring& value) {
  AddRow(L"Property", {{L"Property", name}, {L"Value", value}});
}

void TestPackage::AddFeature(const std::wstring& name, int level, int file_bytes,
                             const std::wstring& parent) {
  AddRow(L"Feature", {{L"Feature", name},
                      {L"Feature_Parent", parent},
                      {L"Display", L"1"},
                      {L"Level", Number(level)},
                      {L"Directory_", L"TARGETDIR"},
                      {L"Attributes", L"0"}});
  AddComponent(name, NewGuid(), name);
  if (file_bytes > 0) {
    AddRow(L"File", {{L"File", name},
                     {L"Component_", name},
                     {L"FileName", name + L".dat"},
                     {L"FileSize", Number(file_bytes)},
                     {L"Attributes", L"8192"},
                     {L"Sequence", L"1"}});
  }
}

void TestPackage::AddComponent(const std::wstring& name, const std::wstring& code,
                               const std::wstring& feature) {
  AddRow(L"Component", {{L"Component", name},
                        {L"ComponentId", code},
                        {L"Directory_", L"TARGETDIR"},
                        {L"Attributes", L"0"}});
  AddRow(L"FeatureComponents", {{L"Feature_", feature}, {L"Component_", name}});
}

void TestPackage::Execute(const std::wstring& sql) {
  CAPTURE(util::ToAnsi(sql));
  msi::UniqueMsiView view;
  REQUIRE(::MsiDatabaseOpenViewW(database_.Get(), sql.c_str(), view.Receive()) == ERROR_SUCCESS);
  REQUIRE(::MsiViewExecute(view.Get(), 0) == ERROR_SUCCESS);
}

void TestPackage::AddStream(const std::wstring& table, const std::wstring& column,
                            const std::wstring& name, const std::wstring& file) {
  const msi::UniqueMsiHandle record(::MsiCreateRecord(2));
  ::MsiRecordSetStringW(record.Get(), 1, name.c_str());
  REQUIRE(::MsiRecordSetStreamW(record.Get(), 2, file.c_str()) == ERROR_SUCCESS);
  msi::UniqueMsiView view;
  const std::wstring sql = L"INSERT INTO `" + table + L"` (`Name`,`" + column + L"`) VALUES (?,?)";
  REQUIRE(::MsiDatabaseOpenViewW(database_.Get(), sql.c_str(), view.Receive()) == ERROR_SUCCESS);
  REQUIRE(::MsiViewExecute(view.Get(), record.Get()) == ERROR_SUCCESS);
}

void TestPackage::Import(const std::wstring& folder, const std::wstring& file) {
  CAPTURE(util::ToAnsi(file));
  REQUIRE(::MsiDatabaseImportW(database_.Get(), folder.c_str(), file.c_str()) == ERROR_SUCCESS);
}

void TestPackage::Close() {
  if (!database_) return;
  REQUIRE(::MsiDatabaseCommit(database_.Get()) == ERROR_SUCCESS);
  database_.Reset();
}

}  // namespace test
