#include <doctest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/installed_product.h"
#include "support/msi_session_rig.h"
#include "support/redirected_temp.h"
#include "support/scripted_ui.h"
#include "support/test_key.h"
#include "support/test_package.h"
#include "support/versioned_file.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/text.h"
#include "util/wow64.h"

using test::MsiSessionRig;
using test::ScriptedUi;
using test::TestKey;
using test::TestPackage;
using test::UiMessage;

namespace {

constexpr wchar_t kKitTables[] = PREREQ_PACKAGE_DIR L"\\tables";

struct Search {
  int type = 0;
  std::wstring search = {};
  std::wstring lowest = {};
  std::wstring highest = {};
  std::wstring reference = {};
  std::wstring platform = {};
  std::wstring condition = {};
};

// A package with a table of searches as the kit defines it.
class SearchPackage : public TestPackage {
 public:
  SearchPackage() { Import(kKitTables, L"QX_AppSearchEx.idt"); }

  void Add(const std::wstring& property, int order, const Search& row) {
    const bool has_platform = !row.platform.empty();
    std::wstring values;
    for (const std::wstring& text :
         {property, row.condition, row.search, row.lowest, row.highest, row.reference}) {
      values += L"'" + text + L"',";
    }
    Execute(std::wstring(L"INSERT INTO `QX_AppSearchEx` (`Property`,`Condition`,`SearchString`,"
                         L"`VerMin`,`VerMax`,`RefContent`,`Type`,`Order`") +
            (has_platform ? L",`Platform`" : L"") + L") VALUES (" + values +
            std::to_wstring(row.type) + L"," + std::to_wstring(order) +
            (has_platform ? L"," + row.platform : L"") + L")");
  }
};

// Every message of the kind as its fields 1 to 3 between bars.
std::vector<std::wstring> Lines(const ScriptedUi& ui, INSTALLMESSAGE kind) {
  std::vector<std::wstring> lines;
  for (const UiMessage& message : ui.Of(kind)) {
    lines.push_back(message.Field(1) + L"|" + message.Field(2) + L"|" + message.Field(3));
  }
  return lines;
}

struct Case {
  Search search;
  std::wstring value;  // Of the property afterwards; empty when it is not set.
};

// Runs all cases as rows of one table.
template <size_t count>
void CheckSearches(SearchPackage* package, const Case (&cases)[count]) {
  int order = 0;
  for (const Case& c : cases) {
    package->Add(L"P" + std::to_wstring(order), order, c.search);
    ++order;
  }
  package->Close();
  ScriptedUi ui;
  MsiSessionRig rig(*package);
  CHECK(rig.Call("DoAppSearchEx") == ERROR_SUCCESS);
  order = 0;
  for (const Case& c : cases) {
    CAPTURE(c.search.type);
    CAPTURE(util::ToAnsi(c.search.search));
    CAPTURE(util::ToAnsi(c.search.lowest));
    CAPTURE(util::ToAnsi(c.search.reference));
    const std::wstring property = L"P" + std::to_wstring(order++);
    CHECK(util::ToAnsi(rig.Property(property)) == util::ToAnsi(c.value));
    CHECK(rig.Property(property + L"QxVerMin") == c.search.lowest);
    CHECK(rig.Property(property + L"QxVerMax") == c.search.highest);
  }
  CHECK(rig.CountLeakedHandles() == 0);
}

// A package that registers as an installed product with one component.
std::unique_ptr<TestPackage> MakeProduct(const std::wstring& version, const std::wstring& upgrade,
                                         const std::wstring& component) {
  auto package = std::make_unique<TestPackage>();
  package->Execute(L"UPDATE `Property` SET `Value`='" + version +
                   L"' WHERE `Property`='ProductVersion'");
  package->AddProperty(L"UpgradeCode", upgrade);
  package->Execute(
      L"INSERT INTO `Component` (`Component`,`ComponentId`,`Directory_`,`Attributes`,`KeyPath`) "
      L"VALUES ('Wanted','" +
      component + L"','TARGETDIR',0,'')");
  package->Execute(
      L"INSERT INTO `FeatureComponents` (`Feature_`,`Component_`) VALUES ('Main','Wanted')");
  package->Close();
  return package;
}

}  // namespace

TEST_CASE("searches of the registry set their properties") {
  const TestKey key;
  for (const char* name : {"\\1.4", "\\2.6", "\\10.1"}) (void)key.Make(name);
  key.SetText("Version", "3.5.30729.1");
  key.SetText("Name", "Some program");
  key.SetText("Empty", "");
  key.SetNumber("Release", 4294967295u);
  const std::wstring path = key.wide_path();

  const Case cases[] = {
      {{1, path}, L"1"},
      {{1, path, L"2"}, L"1.4, 10.1, 2.6"},
      {{1, path, L"2", L"2.5"}, L""},
      {{1, path, L"0"}, L"1.4, 10.1, 2.6"},
      {{1, path + L"\\1.4"}, L""},
      {{1, path + L"\\missing"}, L""},
      {{2, path + L"\\Version"}, L"1"},
      {{2, path + L"\\Version", L"3.5"}, L"3.5.30729.1"},
      {{2, path + L"\\Version", L"3.5.30729.1", L"3.5.30729.1"}, L"3.5.30729.1"},
      {{2, path + L"\\Version", L"3.6"}, L""},
      {{2, path + L"\\Version", L"", L"3.5"}, L""},
      {{2, path + L"\\Name", L"1"}, L""},
      {{2, path + L"\\Name", L"0.0"}, L"Some program"},
      {{2, path + L"\\Empty"}, L"1"},
      {{2, path + L"\\Release"}, L"1"},
      {{2, path + L"\\missing"}, L""},
      {{2, L"HKCU"}, L""},
      {{5, path}, L"1"},
      {{5, path, L"99"}, L"1"},
      {{5, path + L"\\missing"}, L""},
      {{5, L"HKCU"}, L""},
      {{5, L"HKCU\\"}, L"1"},
      {{5, L"HKXX" + path.substr(4)}, L""},
      {{5, L"anything\\.Default"}, L"1"},
      {{6, path}, L""},
      {{6, path + L"\\missing"}, L"1"},
      {{6, L"HKCU"}, L"1"},
      {{7, path + L"\\Version"}, L"1"},
      {{7, path + L"\\Empty"}, L"1"},
      {{7, path + L"\\missing"}, L""},
      {{7, path + L"\\missing\\Version"}, L""},
      {{7, L"Version"}, L""},
      {{8, path + L"\\Version"}, L""},
      {{8, path + L"\\missing"}, L"1"},
      {{8, path + L"\\missing\\Version"}, L"1"},
      {{8, L"Version"}, L"1"},
      {{9, path + L"\\Version"}, L"1"},
      {{9, path + L"\\Version", L"9", L"", L"=3.5.30729.1"}, L"3.5.30729.1"},
      {{9, path + L"\\Version", L"", L"", L"<3.5"}, L""},
      {{9, path + L"\\Release", L"0", L"", L"=4294967295"}, L"4294967295"},
      {{9, path + L"\\missing"}, L""},
      {{9, L"Version"}, L""},
      {{12, path}, L""},
      {{-1, path}, L""},
  };
  SearchPackage package;
  CheckSearches(&package, cases);
}

TEST_CASE("rows are searched in order, and only a false condition skips one") {
  const TestKey key;
  key.SetText("a", "1.0");
  key.SetText("b", "2.0");
  const std::wstring a = key.wide_path() + L"\\a";
  const std::wstring b = key.wide_path() + L"\\b";
  SearchPackage package;
  package.AddProperty(L"KEY", key.wide_path());
  package.AddProperty(L"KEPT", L"before");
  package.Add(L"LATER", 5, {2, b, L"0.1"});
  package.Add(L"LATER", 3, {2, a, L"0.1"});
  package.Add(L"MISSED", 4, {2, b, L"0.1"});
  package.Add(L"MISSED", 6, {2, a + L"x", L"7"});
  package.Add(L"KEPT", 7, {2, a + L"x"});
  package.Add(L"FALSE", 8, {.type = 2, .search = a, .lowest = L"1", .condition = L"1=0"});
  package.Add(L"TRUE", 9, {.type = 2, .search = a, .condition = L"KEY"});
  package.Add(L"WRONG", 10, {.type = 2, .search = a, .condition = L"AND AND"});
  package.Add(L"FORMATTED", 11, {2, L"[KEY]\\[PART]a", L"[KEY]"});
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  ui.Clear();
  CHECK(rig.Call("DoAppSearchEx") == ERROR_SUCCESS);

  struct Expected {
    const wchar_t* property;
    const wchar_t* value;
  };
  const Expected expected[] = {
      {L"LATER", L"2.0"},        {L"MISSED", L"2.0"},
      {L"MISSEDQxVerMin", L"7"}, {L"KEPT", L"before"},
      {L"FALSE", L""},           {L"FALSEQxVerMin", L""},
      {L"TRUE", L"1"},           {L"WRONG", L"1"},
      {L"FORMATTED", L"1.0"},    {L"FORMATTEDQxVerMin", L"[KEY]"},
      {L"LATERQxVerMax", L""},
  };
  for (const Expected& e : expected) {
    CAPTURE(util::ToAnsi(e.property));
    CHECK(rig.Property(e.property) == e.value);
  }
  using List = std::vector<std::wstring>;
  CHECK(Lines(ui, INSTALLMESSAGE_ACTIONSTART) ==
        List{L"QX_AppSearchEx|Searching for installed programs|Property: [1], Search: [2]",
             L"||[1]"});
  CHECK(Lines(ui, INSTALLMESSAGE_ACTIONDATA) ==
        List{L"LATER|" + a + L"|", L"MISSED|" + b + L"|", L"LATER|" + b + L"|",
             L"MISSED|" + a + L"x|", L"KEPT|" + a + L"x|", L"TRUE|" + a + L"|",
             L"WRONG|" + a + L"|", L"FORMATTED|" + a + L"|", L" ||"});
  CHECK(ui.messages().back().type == static_cast<UINT>(INSTALLMESSAGE_ACTIONDATA));
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("a package without searches or texts still gets its closing messages") {
  TestPackage package;
  package.Execute(L"DELETE FROM `ActionText` WHERE `Action`='AppSearch'");
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  ui.Clear();
  CHECK(rig.Call("DoAppSearchEx") == ERROR_SUCCESS);
  CHECK(Lines(ui, INSTALLMESSAGE_ACTIONSTART) == std::vector<std::wstring>{L"||[1]"});
  CHECK(Lines(ui, INSTALLMESSAGE_ACTIONDATA) == std::vector<std::wstring>{L" ||"});
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("the kind of a search is the number its text begins with") {
  const TestKey key;
  struct Row {
    const wchar_t* type;
    bool exists;  // Whether a search for the key sets the property.
    bool missing;
  };
  const Row rows[] = {
      {L"5", true, false},   {L"6", false, true},
      {L"05x", true, false}, {L"5.9", true, false},
      {L"x5", false, false}, {L"", false, false},
      {L" 5", false, false}, {L"+5", false, false},
      {L"-5", false, false}, {L"12", false, false},
      {L"56", false, false}, {L"4294967301", true, false},  // Wraps round to 5.
  };
  TestPackage package;
  package.Execute(
      L"CREATE TABLE `QX_AppSearchEx` (`Property` CHAR(72) NOT NULL, `Condition` CHAR(255), `Type` "
      L"CHAR(32), `SearchString` CHAR(255), `VerMin` CHAR(32), `VerMax` CHAR(32), `Platform` "
      L"CHAR(8), `RefContent` CHAR(255), `Order` SHORT PRIMARY KEY `Property`)");
  for (const Row& row : rows) {
    for (const wchar_t* suffix : {L"", L"\\none"}) {
      package.Execute(
          std::wstring(L"INSERT INTO `QX_AppSearchEx` (`Property`,`Type`,`SearchString`,`Order`) "
                       L"VALUES ('P") +
          std::to_wstring(&row - rows) + (*suffix != 0 ? L"N" : L"") + L"','" + row.type + L"','" +
          key.wide_path() + suffix + L"',1)");
    }
  }
  package.Close();
  MsiSessionRig rig(package);
  CHECK(rig.Call("DoAppSearchEx") == ERROR_SUCCESS);
  for (const Row& row : rows) {
    CAPTURE(util::ToAnsi(row.type));
    const std::wstring property = L"P" + std::to_wstring(&row - rows);
    CHECK(rig.Property(property) == (row.exists ? L"1" : L""));
    CHECK(rig.Property(property + L"N") == (row.missing ? L"1" : L""));
  }
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("the platform column chooses the view of registry and files") {
  if (!util::IsNtFamily()) return;  // One view only.
  const TestKey key32(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY);
  const TestKey key64(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY);
  (void)key32.Make("\\1.32");
  (void)key64.Make("\\1.64");
  key32.SetText("32", "1.32");
  key64.SetText("64", "1.64");
  const std::wstring path = key32.wide_path();
  const std::wstring file =
      L"C:\\windows\\system32\\prereq" + std::to_wstring(::GetCurrentProcessId()) + L".txt";
  {
    const util::FileRedirectionOff off;
    REQUIRE(util::CreateForWriting(file));
  }
  const Case cases[] = {
      {{1, path, L"1", L"", L"", L""}, L"1.32"},
      {{1, path, L"1", L"", L"", L"0"}, L"1.32"},
      {{1, path, L"1", L"", L"", L"2"}, L"1.32"},
      {{1, path, L"1", L"", L"", L"1"}, L"1.64"},
      {{2, path + L"\\64", L"1", L"", L"", L""}, L""},
      {{2, path + L"\\64", L"1", L"", L"", L"1"}, L"1.64"},
      {{5, path + L"\\1.64", L"", L"", L"", L""}, L""},
      {{5, path + L"\\1.64", L"", L"", L"", L"1"}, L"1"},
      {{6, path + L"\\1.32", L"", L"", L"", L"1"}, L"1"},
      {{7, path + L"\\64", L"", L"", L"", L"1"}, L"1"},
      {{8, path + L"\\32", L"", L"", L"", L"1"}, L"1"},
      {{9, path + L"\\64", L"", L"", L"=1.64", L"1"}, L"1"},
      {{0, file, L"", L"", L"", L""}, L""},
      {{0, file, L"", L"", L"", L"1"}, L"1"},
  };
  SearchPackage package;
  CheckSearches(&package, cases);
  const util::FileRedirectionOff off;
  CHECK(util::RemoveFile(file));
}

TEST_CASE("files are found by version") {
  SearchPackage package;
  package.folder().Write(L"tree\\a.exe", test::VersionedContent(1, 2, 3, 4));
  package.folder().Write(L"tree\\b\\a.exe", test::VersionedContent(2, 0, 0, 0));
  package.folder().Write(L"tree\\plain.txt", "text");
  const std::wstring tree = package.folder() / L"tree";
  package.AddProperty(L"TREE", tree + L"\\");
  package.AddProperty(L"QX_SETUPEXEPATH", tree + L"\\setup.exe");
  const Case cases[] = {
      {{0, tree + L"\\a.exe"}, L"1"},
      {{0, tree + L"\\a.exe", L"1.2"}, L"1.2.3.4"},
      {{0, tree + L"\\a.exe", L"2"}, L""},
      {{0, tree + L"\\a.exe?1", L"2"}, L"1.2.3.4, 2.0.0.0"},
      {{0, tree + L"\\a.exe?1", L"1", L"9"}, L"1.2.3.4"},
      {{0, tree + L"\\plain.txt"}, L"1"},
      {{0, tree + L"\\plain.txt", L"", L"9"}, L""},
      {{0, tree + L"\\plain.txt", L"0"}, L"0.0.0.0"},
      {{0, L"[TREE]b\\a.exe"}, L"1"},
      // What the installer leaves alone, the search resolves.
      {{0, L"[\\[]SETUPEXEDIR[\\]]a.exe", L"1"}, L"1.2.3.4"},
      {{0, L"[\\[]SystemFolder[\\]]kernel32.dll"}, L"1"},
      {{0, L"%windir%\\system32\\kernel32.dll"}, L"1"},
      {{0, L"no such file of any drive.exe"}, L""},
  };
  CheckSearches(&package, cases);
}

TEST_CASE("installed products, related products and components are found") {
  const std::wstring upgrade = test::NewGuid();
  const std::wstring component = test::NewGuid();
  const auto older = MakeProduct(L"1.2.3", upgrade, component);
  const auto newer = MakeProduct(L"2.10.0", upgrade, test::NewGuid());
  {
    const test::InstalledProduct first(*older);
    const test::InstalledProduct second(*newer);
    const Case cases[] = {
        {{3, older->product_code()}, L"1"},
        {{3, older->product_code(), L"1.2.3", L"1.2.3"}, L"1.2.3"},
        {{3, older->product_code(), L"1.2.4"}, L""},
        {{3, newer->product_code(), L"2.9"}, L"2.10.0"},
        {{3, test::NewGuid()}, L""},
        {{3, L"no code"}, L""},
        {{4, upgrade}, L"1"},
        {{4, upgrade, L"2.11"}, L""},
        {{4, test::NewGuid()}, L""},
        {{4, older->product_code()}, L""},
        {{11, component}, L"1"},
        {{11, component, L"9", L"10"}, L"1"},
        {{11, test::NewGuid()}, L""},
        {{11, L""}, L""},
    };
    SearchPackage package;
    CheckSearches(&package, cases);

    // The installer tells the related products in an order of its own.
    SearchPackage related;
    related.Add(L"ALL", 1, {4, upgrade, L"2"});
    related.Close();
    MsiSessionRig rig(related);
    CHECK(rig.Call("DoAppSearchEx") == ERROR_SUCCESS);
    const std::wstring found = rig.Property(L"ALL");
    CHECK((found == L"1.2.3, 2.10.0" || found == L"2.10.0, 1.2.3"));
  }
  const Case removed[] = {
      {{3, older->product_code()}, L""}, {{4, upgrade}, L""}, {{11, component}, L""}};
  SearchPackage package;
  CheckSearches(&package, removed);
}

TEST_CASE("a program of the package answers by its exit code and leaves nothing behind") {
  const test::RedirectedTemp temp;
  ::SetEnvironmentVariableA("PREREQ_WORD", "from environment");
  SearchPackage package;
  package.Execute(
      L"CREATE TABLE `Binary` (`Name` CHAR(72) NOT NULL, `Data` OBJECT NOT NULL PRIMARY KEY "
      L"`Name`)");
  package.AddStream(L"Binary", L"Data", L"echo", test::ProgramFolder() + L"\\echo_program.exe");
  package.AddStream(L"Binary", L"Data", L"text", package.folder().Write(L"text", "no program"));
  package.AddProperty(L"CODE", L"0");
  const Case cases[] = {
      {{10, L"exit=[CODE] 1 %PREREQ_WORD%", L"", L"", L"echo"}, L"1"},
      {{10, L"exit=0 2 %PREREQ_NONE%", L"WND_HIDE", L"", L"echo"}, L"1"},
      {{10, L"exit=0 3", L"", L"WND_HIDE", L"echo"}, L"1"},
      {{10, L"exit=0 4", L"wnd_hide", L"WND_HIDE ", L"echo"}, L"1"},
      {{10, L"exit=1 5", L"", L"", L"echo"}, L""},
      {{10, L"exit=4294967295 6", L"", L"", L"echo"}, L""},
      {{10, L"", L"", L"", L"echo"}, L"1"},
      {{10, L"exit=0", L"", L"", L"text"}, L""},
      {{10, L"exit=0", L"", L"", L"none"}, L""},
      {{10, L"exit=0", L"", L"", L""}, L""},
  };
  CheckSearches(&package, cases);

  CHECK(temp.Files(L"ACS*.exe").empty());
  std::vector<std::wstring> runs;
  for (const std::wstring& log : temp.Files(L"ACS*.log")) {
    const std::string bytes = test::ReadWholeFile(log);
    const std::wstring line(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
    const size_t arguments = line.find(L".tmp.exe") + 8;
    const auto parts = util::Split(line.substr(line.find_first_not_of(L"\" ", arguments)), L'|');
    REQUIRE(parts.size() == 3);
    runs.push_back(parts[0] + L"|" + parts[2]);
  }
  std::sort(runs.begin(), runs.end());
  CHECK(runs == std::vector<std::wstring>{L"exit=0 1 from environment|shown\n",
                                          L"exit=0 2 %PREREQ_NONE%|hidden\n", L"exit=0 3|hidden\n",
                                          L"exit=0 4|shown\n", L"exit=1 5|shown\n",
                                          L"exit=4294967295 6|shown\n", L"|shown\n"});
}
