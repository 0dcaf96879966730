#include "support/test_package.h"

#include <objbase.h>

#include <doctest.h>

#include <algorithm>
#include <string_view>

#include "util/text.h"

namespace test {
namespace {

constexpr wchar_t kKitTables[] = PREREQ_PACKAGE_DIR L"\\tables";

// What costing and a small installation need beside the kit's tables.
const wchar_t* const kTables[] = {
    L"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` LONGCHAR NOT NULL LOCALIZABLE "
    L"PRIMARY KEY `Property`)",
    L"CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), "
    L"`DefaultDir` CHAR(255) NOT NULL LOCALIZABLE PRIMARY KEY `Directory`)",
    L"CREATE TABLE `Feature` (`Feature` CHAR(38) NOT NULL, `Feature_Parent` CHAR(38), `Title` "
    L"CHAR(64), `Description` CHAR(255), `Display` SHORT, `Level` SHORT NOT NULL, `Directory_` "
    L"CHAR(72), `Attributes` SHORT NOT NULL PRIMARY KEY `Feature`)",
    L"CREATE TABLE `Component` (`Component` CHAR(72) NOT NULL, `ComponentId` CHAR(38), "
    L"`Directory_` "
    L"CHAR(72) NOT NULL, `Attributes` SHORT NOT NULL, `Condition` CHAR(255), `KeyPath` CHAR(72) "
    L"PRIMARY KEY `Component`)",
    L"CREATE TABLE `FeatureComponents` (`Feature_` CHAR(38) NOT NULL, `Component_` CHAR(72) NOT "
    L"NULL "
    L"PRIMARY KEY `Feature_`, `Component_`)",
    L"CREATE TABLE `File` (`File` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, `FileName` "
    L"CHAR(255) NOT NULL LOCALIZABLE, `FileSize` LONG NOT NULL, `Version` CHAR(72), `Language` "
    L"CHAR(20), `Attributes` SHORT, `Sequence` SHORT NOT NULL PRIMARY KEY `File`)",
    L"CREATE TABLE `Media` (`DiskId` SHORT NOT NULL, `LastSequence` SHORT NOT NULL, `DiskPrompt` "
    L"CHAR(64), `Cabinet` CHAR(255), `VolumeLabel` CHAR(32), `Source` CHAR(72) PRIMARY KEY "
    L"`DiskId`)",
    L"CREATE TABLE `InstallExecuteSequence` (`Action` CHAR(72) NOT NULL, `Condition` CHAR(255), "
    L"`Sequence` SHORT PRIMARY KEY `Action`)",
};

struct Action {
  const wchar_t* name;
  int sequence;
};
// Enough to leave the product and its features registered.
constexpr Action kActions[] = {
    {L"CostInitialize", 800},     {L"FileCost", 900},           {L"CostFinalize", 1000},
    {L"InstallValidate", 1400},   {L"InstallInitialize", 1500}, {L"ProcessComponents", 1600},
    {L"UnpublishFeatures", 1800}, {L"RegisterUser", 6000},      {L"RegisterProduct", 6100},
    {L"PublishFeatures", 6300},   {L"PublishProduct", 6400},    {L"InstallFinalize", 6600},
};

// Of the tables that rows are added to.
constexpr std::wstring_view kNumberColumns[] = {L"Location", L"Sequence", L"Order", L"Type",
                                                L"Platform"};

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
  for (const wchar_t* table : kTables) Execute(table);
  for (const Action& action : kActions) {
    Execute(L"INSERT INTO `InstallExecuteSequence` (`Action`,`Sequence`) VALUES (" +
            Quoted(action.name) + L"," + Number(action.sequence) + L")");
  }
  Import(kKitTables, L"QX_PreRequisite.idt");
  Import(kKitTables, L"Error.idt");
  Import(kKitTables, L"ActionText.idt");
  AddProperty(L"ProductCode", product_code_);
  AddProperty(L"ProductName", L"Test product");
  AddProperty(L"ProductVersion", L"1.0.0");
  AddProperty(L"ProductLanguage", L"1033");
  AddProperty(L"Manufacturer", L"Test");
  Execute(
      L"INSERT INTO `Directory` (`Directory`,`Directory_Parent`,`DefaultDir`) VALUES "
      L"('TARGETDIR','','SourceDir')");
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
  Execute(L"INSERT INTO `Property` (`Property`,`Value`) VALUES (" + Quoted(name) + L"," +
          Quoted(value) + L")");
}

void TestPackage::AddFeature(const std::wstring& name, int level, int file_bytes,
                             const std::wstring& parent) {
  Execute(
      L"INSERT INTO `Feature` (`Feature`,`Feature_Parent`,`Display`,`Level`,`Directory_`,"
      L"`Attributes`) VALUES (" +
      Quoted(name) + L"," + Quoted(parent) + L",1," + Number(level) + L",'TARGETDIR',0)");
  Execute(
      L"INSERT INTO `Component` (`Component`,`ComponentId`,`Directory_`,`Attributes`,`KeyPath`) "
      L"VALUES (" +
      Quoted(name) + L"," + Quoted(NewGuid()) + L",'TARGETDIR',0,'')");
  Execute(L"INSERT INTO `FeatureComponents` (`Feature_`,`Component_`) VALUES (" + Quoted(name) +
          L"," + Quoted(name) + L")");
  if (file_bytes > 0) {
    Execute(
        L"INSERT INTO `File` (`File`,`Component_`,`FileName`,`FileSize`,`Attributes`,`Sequence`) "
        L"VALUES (" +
        Quoted(name) + L"," + Quoted(name) + L"," + Quoted(name + L".dat") + L"," +
        Number(file_bytes) + L",8192,1)");
  }
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
