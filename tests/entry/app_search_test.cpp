#include <doctest.h>

#include <string>
#include <vector>

#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/test_key.h"
#include "support/test_package.h"
#include "util/text.h"

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

}  // namespace

TEST_CASE("searches of the registry set their properties") {
  const TestKey key;
  for (const char* name : {"\\1.4", "\\2.6", "\\10.1"}) (void)key.Make(name);
  key.SetText("Version", "3.5.30729.1");
  key.SetText("Name", "Some program");
  key.SetText("Empty", "");
  key.SetNumber("Release", 4294967295u);
  const std::wstring path = key.wide_path();

  struct Case {
    Search search;
    const wchar_t* value;  // Empty: not set.
  };
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
  int order = 0;
  for (const Case& c : cases) {
    package.Add(L"P" + std::to_wstring(order), order, c.search);
    ++order;
  }
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  CHECK(rig.Call("DoAppSearchEx") == ERROR_SUCCESS);
  order = 0;
  for (const Case& c : cases) {
    CAPTURE(c.search.type);
    CAPTURE(util::ToAnsi(c.search.search));
    CAPTURE(util::ToAnsi(c.search.reference));
    const std::wstring property = L"P" + std::to_wstring(order++);
    CHECK(rig.Property(property) == c.value);
    CHECK(rig.Property(property + L"QxVerMin") == c.search.lowest);
    CHECK(rig.Property(property + L"QxVerMax") == c.search.highest);
  }
  CHECK(rig.CountLeakedHandles() == 0);
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

  struct Case {
    const wchar_t* property;
    const wchar_t* value;
  };
  const Case cases[] = {
      {L"LATER", L"2.0"},        {L"MISSED", L"2.0"},
      {L"MISSEDQxVerMin", L"7"}, {L"KEPT", L"before"},
      {L"FALSE", L""},           {L"FALSEQxVerMin", L""},
      {L"TRUE", L"1"},           {L"WRONG", L"1"},
      {L"FORMATTED", L"1.0"},    {L"FORMATTEDQxVerMin", L"[KEY]"},
      {L"LATERQxVerMax", L""},
  };
  for (const Case& c : cases) {
    CAPTURE(util::ToAnsi(c.property));
    CHECK(rig.Property(c.property) == c.value);
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
