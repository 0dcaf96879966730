#include "prereq/carried_properties.h"

#include <doctest.h>

#include <string>
#include <vector>

#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/test_package.h"
#include "util/text.h"

using test::MsiSessionRig;
using test::TestPackage;

namespace {

// A table of a key and a nullable `Property` column, as the carried list sees it.
void AddNamingTable(TestPackage* package, const std::wstring& table,
                    const std::vector<std::wstring>& names) {
  package->Execute(L"CREATE TABLE `" + table +
                   L"` (`Key` SHORT NOT NULL, `Property` CHAR(72) PRIMARY KEY `Key`)");
  int key = 0;
  for (const std::wstring& name : names) {
    package->Execute(L"INSERT INTO `" + table + L"` (`Key`,`Property`) VALUES (" +
                     util::ToSignedDecimal(++key) + L",'" + name + L"')");
  }
}

void AddDirectory(TestPackage* package, const std::wstring& name) {
  package->Execute(
      L"INSERT INTO `Directory` (`Directory`,`Directory_Parent`,`DefaultDir`) VALUES ('" + name +
      L"','TARGETDIR','" + name + L"')");
}

std::vector<std::string> Collect(const MsiSessionRig& rig) {
  const msi::InstallerSession session(rig.handle());
  std::vector<std::string> result;  // Narrow, so that a failed check can show it.
  for (const std::wstring& assignment : prereq::CarriedProperties(session).Collect()) {
    result.push_back(util::ToAnsi(assignment));
  }
  return result;
}

}  // namespace

TEST_CASE("what is carried, in which order and how it is quoted") {
  TestPackage package;
  package.AddProperty(L"CHANGED", L"old");
  package.AddProperty(L"UNCHANGED", L"same");
  package.AddProperty(L"EMPTIED", L"full");
  package.AddProperty(L"CASE", L"value");
  package.AddProperty(L"Private", L"old");
  package.AddProperty(L"REBOOT", L"Suppress");
  package.AddProperty(L"REINSTALLMODE", L"omus");
  package.AddProperty(L"DefaultUIFont", L"Plain");
  package.AddProperty(L"SecureCustomProperties", L"SECURE;ADDLOCAL;;Private;EMPTIED;SECURE;EMPTY;");
  // The default of a name that several tables hold is that of the `Property` table.
  AddNamingTable(&package, L"AppSearch", {L"UNCHANGED", L"FOUND", L"", L"NAME_1", L"NAME1"});
  AddNamingTable(&package, L"QX_AppSearchEx", {L"FOUND_EX", L"FOUND", L"NotFOUND"});
  AddNamingTable(&package, L"Control", {L"CHOICE", L"", L"Choice", L"UNSET", L"NAME.1"});
  AddNamingTable(&package, L"QX_TempFile", {L"TEMP_FILE", L"LONG", L"INSTALLDIR"});
  AddDirectory(&package, L"ZDIR");
  AddDirectory(&package, L"INSTALLDIR");
  AddDirectory(&package, L"MyDir");
  AddDirectory(&package, L"ADIR");
  package.Close();
  MsiSessionRig rig(package);

  const std::wstring length(20000, L'x');
  for (const auto& [name, value] :
       std::vector<std::pair<const wchar_t*, std::wstring>>{{L"CHANGED", L"new value"},
                                                            {L"EMPTIED", L""},
                                                            {L"CASE", L"VALUE"},
                                                            {L"Private", L"new"},
                                                            {L"DefaultUIFont", L"Bold"},
                                                            {L"REBOOT", L""},
                                                            {L"ADDLOCAL", L"ALL"},
                                                            {L"QX_PREREQFILES",
                                                             L"C:\\a\x01"
                                                             L"C:\\b"},
                                                            {L"SECURE", L"s"},
                                                            {L"FOUND", L"C:\\Program Files\\"},
                                                            {L"FOUND_EX", L"say \"hi\""},
                                                            {L"CHOICE", L"\""},
                                                            {L"Choice", L"1"},
                                                            {L"NotFOUND", L"1"},
                                                            {L"TEMP_FILE", L"\"\\"},
                                                            {L"LONG", length},
                                                            {L"NAME_1", L"c"},
                                                            {L"NAME1", L"b"},
                                                            {L"NAME.1", L"a"},
                                                            {L"UNNAMED", L"in no table"}}) {
    rig.SetProperty(name, value);
  }

  CHECK(Collect(rig) == std::vector<std::string>{
                            "ADDLOCAL=\"ALL\"",
                            "INSTALLLEVEL=\"1\"",
                            "REBOOT=\"\"",
                            "ROOTDRIVE=\"C:\\\\\"",
                            "QX_PREREQFILES=\"C:\\a\x01"
                            "C:\\b\"",
                            "SECURE=\"s\"",
                            "EMPTIED=\"\"",
                            "CASE=\"VALUE\"",
                            "CHANGED=\"new value\"",
                            "CHOICE=\"\"\"\"",
                            "FOUND=\"C:\\Program Files\\\\\"",
                            "FOUND_EX=\"say \"\"hi\"\"\"",
                            "INSTALLDIR=\"C:\\INSTALLDIR\\\\\"",
                            "LONG=\"" + std::string(length.size(), 'x') + "\"",
                            "NAME.1=\"a\"",
                            "NAME1=\"b\"",
                            "NAME_1=\"c\"",
                            "TEMP_FILE=\"\"\"\\\\\"",
                            "TARGETDIR=\"C:\\\\\"",
                            "ZDIR=\"C:\\ZDIR\\\\\"",
                            "ADIR=\"C:\\ADIR\\\\\"",
                        });
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("a package without the naming tables carries what the session set") {
  TestPackage package;
  package.Close();
  MsiSessionRig rig(package);
  CHECK(Collect(rig) == std::vector<std::string>{"INSTALLLEVEL=\"1\"", "ROOTDRIVE=\"C:\\\\\"",
                                                 "TARGETDIR=\"C:\\\\\""});
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("names of public properties") {
  struct Row {
    const wchar_t* name;
    bool is_public;
  };
  for (const Row& row :
       {Row{L"QX_RESUME.1", true}, Row{L"_1.2", true}, Row{L"", true}, Row{L"AzB", false},
        Row{L"aB", false}, Row{L"AB[@`{", true}, Row{L"\u00c4", true}, Row{L"A\u00e4", false}}) {
    CAPTURE(util::ToAnsi(row.name));
    CHECK(prereq::IsPublicPropertyName(row.name) == row.is_public);
  }
}
