#include "good_package.h"

#include <windows.h>

#include <doctest.h>

#include "checks.h"
#include "util/text.h"

namespace test {
namespace {

constexpr wchar_t kKitTables[] = PREREQ_PACKAGE_DIR L"\\tables";
constexpr wchar_t kDigest[] = L"bcc09a234c00ae12ae6a8359cb48b68d";

constexpr const wchar_t* kSearches[] = {
    LR"(1,'RUNTIME','',2,'HKLM\Software\Maker\Runtime\Version','2.0','2.9.9.9','')",
    LR"(2,'TOOLS','VersionNT',0,'[ProgramFilesFolder]Maker\Tools.exe?2','4.0','','')",
    LR"(3,'EXTRAS','',9,'HKLM\Software\Maker\Extras\Release','','','+378389')",
    LR"(4,'RELATED','',4,'{0C1E8C8A-7F35-4F0A-9B57-3A9B7E3F5D21}','1.0','1.9','')",
    LR"(5,'NO_KEY','',6,'HKCU\Software\Maker','','','')",
    LR"(6,'LICENSED','',10,'/check !HKLM\Software\Maker\Key!','WND_HIDE','','Check.exe')",
};

void Run(MSIHANDLE database, const std::wstring& sql) {
  CAPTURE(util::ToAnsi(sql));
  msi::UniqueMsiView view;
  REQUIRE(::MsiDatabaseOpenViewW(database, sql.c_str(), view.Receive()) == ERROR_SUCCESS);
  REQUIRE(::MsiViewExecute(view.Get(), 0) == ERROR_SUCCESS);
}

}  // namespace

GoodPackage::GoodPackage() {
  AddTables();
  AddRows();
  package_.Close();
}

void GoodPackage::AddTables() {
  // Imported whole, so its rows beside the kit's go in afterwards.
  package_.Execute(L"DROP TABLE `InstallExecuteSequence`");
  for (const wchar_t* table : {L"CustomAction.idt", L"InstallExecuteSequence.idt",
                               L"InstallUISequence.idt", L"QX_AppSearchEx.idt"}) {
    package_.Import(kKitTables, table);
  }
  package_.Execute(
      L"CREATE TABLE `Binary` (`Name` CHAR(72) NOT NULL, `Data` OBJECT NOT NULL PRIMARY KEY "
      L"`Name`)");
  package_.Execute(
      L"CREATE TABLE `Registry` (`Registry` CHAR(72) NOT NULL, `Root` SHORT NOT NULL, `Key` "
      L"CHAR(255) NOT NULL, `Name` CHAR(255), `Value` LONGCHAR, `Component_` CHAR(72) NOT NULL "
      L"PRIMARY KEY `Registry`)");
}

void GoodPackage::AddRows() {
  const struct {
    const wchar_t* table;
    const wchar_t* action;
    int number;
  } actions[] = {{L"InstallUISequence", L"CostInitialize", 800},
                 {L"InstallUISequence", L"ResolveSource", 850},
                 {L"InstallUISequence", L"CostFinalize", 1000},
                 {L"InstallUISequence", L"ExecuteAction", 1300},
                 {L"InstallExecuteSequence", L"CostInitialize", 800},
                 {L"InstallExecuteSequence", L"ResolveSource", 850},
                 {L"InstallExecuteSequence", L"CostFinalize", 1000},
                 {L"InstallExecuteSequence", L"InstallFinalize", 6600}};
  for (const auto& [table, action, number] : actions) {
    package_.Execute(std::wstring(L"INSERT INTO `") + table + L"` (`Action`,`Sequence`) VALUES ('" +
                     action + L"'," + util::ToSignedDecimal(number) + L")");
  }
  for (const wchar_t* search : kSearches) {
    package_.Execute(
        std::wstring(L"INSERT INTO `QX_AppSearchEx` (`Order`,`Property`,`Condition`,`Type`,"
                     L"`SearchString`,`VerMin`,`VerMax`,`RefContent`) VALUES (") +
        search + L")");
  }
  package_.AddPrerequisite({.name = L"Runtime",
                            .sequence = 1,
                            .missing = L"NOT RUNTIME",
                            .location = L"1",
                            .url = L"http://host.example/d/RuntimeSetup.exe",
                            .size = L"226816",
                            .md5 = kDigest,
                            .arguments = L"/q name=\"[ProductName]\" dir=[SystemFolder]"});
  package_.AddPrerequisite({.name = L"Tools",
                            .sequence = 2,
                            .missing = L"NOT TOOLS",
                            .target = L"ToolsSetup.exe",
                            .size = L"4",
                            .options = L"m",
                            .languages = L"1033;1031"});
  package_.AddPrerequisite({.name = L"Extras",
                            .sequence = 3,
                            .missing = L"NOT EXTRAS AND VersionNT",
                            .location = L"1",
                            .url = L"https://host.example/get?id=7",
                            .target = L"x?extras.msi",
                            .md5 = kDigest,
                            .options = L"p"});
  package_.AddProperty(L"SecureCustomProperties", L"QX_RESUME");
  package_.AddProperty(L"QX_DOWNLOAD_DIR", L"[TempFolder][ProductCode]");
  package_.AddStream(L"Binary", L"Data", L"Prereq.dll", ProgramFolder() + L"\\named_exports.dll");
  package_.AddStream(L"Binary", L"Data", L"Check.exe", folder().Write(L"check.exe", "program"));
  folder().Write(L"ToolsSetup.exe", "1234");
}

std::wstring GoodPackage::Broken(const std::wstring& statements) const {
  const std::wstring copy = folder() / L"broken.msi";
  REQUIRE(::CopyFileW(path().c_str(), copy.c_str(), FALSE));
  msi::UniqueMsiHandle database;
  REQUIRE(::MsiOpenDatabaseW(copy.c_str(), MSIDBOPEN_TRANSACT, database.Receive()) ==
          ERROR_SUCCESS);
  for (const std::wstring& sql : util::Split(statements, L'\n')) Run(database.Get(), sql);
  REQUIRE(::MsiDatabaseCommit(database.Get()) == ERROR_SUCCESS);
  return copy;
}

std::vector<check::Finding> FindingsOf(const std::wstring& path) {
  check::Package package;
  REQUIRE(package.Open(path) == ERROR_SUCCESS);
  REQUIRE(package.session() != nullptr);
  check::Report report;
  check::CheckPackage(package, &report);
  return report.findings();
}

}  // namespace test
