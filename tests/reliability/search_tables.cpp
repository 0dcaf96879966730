// Search tables with anything in their cells: the action succeeds, the good rows among the others
// set their properties all the same, a property that nothing was found for keeps its value, and no
// handle stays open.

#include <doctest.h>

#include <string>
#include <vector>

#include "reliability/foreign_files.h"
#include "reliability/part.h"
#include "reliability/random_table.h"
#include "support/msi_session_rig.h"
#include "support/redirected_temp.h"
#include "support/scripted_ui.h"
#include "support/test_key.h"
#include "support/test_package.h"
#include "support/versioned_file.h"
#include "util/text.h"

using test::ForeignFiles;
using test::MsiSessionRig;
using test::Part;
using test::Random;
using test::RandomColumn;
using test::RandomRow;
using test::ScriptedUi;
using test::TempFolder;
using test::TestKey;
using test::TestPackage;
using Texts = std::vector<std::wstring>;

namespace {

constexpr wchar_t kTable[] = L"QX_AppSearchEx";
constexpr size_t kProperties = 8;  // Of the random rows.

const std::vector<RandomColumn> kColumns = {
    {L"Property", L"CHAR(0) NOT NULL"},
    {L"Order", L"LONG NOT NULL"},
    {L"Condition", L"CHAR(0)"},
    {L"Type", L"LONG"},
    {L"SearchString", L"CHAR(0)"},
    {L"VerMin", L"CHAR(0)"},
    {L"VerMax", L"CHAR(0)"},
    {L"Platform", L"LONG"},
    {L"RefContent", L"CHAR(0)"},
};

// Texts of every kind, below the test's own folder or key where a search goes by one. A "!" would
// name a value of the registry, whose type could be one that must not be asked for.
std::wstring RandomSearch(Random* random, int kind, const TempFolder& folder, const TestKey& key) {
  std::wstring odd = random->Text();
  for (wchar_t& letter : odd) {
    if (letter == L'!') letter = L'.';
  }
  const std::wstring path = key.wide_path();
  switch (kind) {
    case 0:
      return folder / random->Pick(Texts{L"a.exe", L"*.exe?3", L"*", L"sub\\*?1", L"none\\x.exe",
                                         L"?", L"a.exe?-1", L"*?99999999999", L"\\a.exe", odd});
    case 1:
    case 2:
    case 5:
    case 6:
    case 7:
    case 8:
    case 9:
      return random->Pick(Texts{path, path + L"\\", path + L"\\Text", path + L"\\Number",
                                path + L"\\" + odd, path + L"\\None\\x", L"HKLM", L"\\", odd,
                                L"HKXX\\" + odd, L"HKCU\\Software\\" + odd + L"\\none"});
    case 10:
      return odd;
    default:
      return random->Chance(50) ? test::NewGuid() : odd;
  }
}

std::wstring RandomVersion(Random* random) {
  return random->Pick(Texts{L"", L"0", L"1", L"1.2.3.4", L"0.0.0.0", L"9.9.9.9.9", L"WND_HIDE",
                            L"2147483650", random->Number(), random->Text()});
}

void CheckTable(Part* part, Random* random, const std::string& program) {
  const test::RedirectedTemp temp;
  const TempFolder folder;
  const ForeignFiles foreign(folder, random, {L"a.exe", L"sub\\b.exe", L"sub\\deep\\c.exe"});
  folder.Write(L"good\\good.exe", program);
  const TestKey key;
  key.SetText("Text", util::ToAnsi(random->Number()));
  key.SetNumber("Number", static_cast<DWORD>(random->Next()));
  (void)key.Make("\\1.5");

  TestPackage package;
  std::vector<RandomColumn> columns = kColumns;
  const bool is_whole = random->Chance(90);
  if (!is_whole) columns.erase(columns.begin() + static_cast<ptrdiff_t>(random->Between(2, 8)));
  MakeTable(&package, kTable, columns, 2);
  for (size_t i = random->Below(16); i != 0; --i) {
    const int kind = random->Chance(85) ? static_cast<int>(random->Below(13)) - 1
                                        : static_cast<int>(random->Next());
    RandomRow row = {{L"Property", L"P" + util::ToDecimal(random->Below(kProperties))},
                     {L"Order", util::ToDecimal(random->Below(1000))},
                     {L"Type", util::ToSignedDecimal(kind)}};
    if (random->Chance(10)) row[L"Property"] = random->Text() + L"x";
    if (random->Chance(95)) row[L"SearchString"] = RandomSearch(random, kind, folder, key);
    if (random->Chance(20)) row[L"Condition"] = random->Text();
    row[L"VerMin"] = RandomVersion(random);
    row[L"VerMax"] = RandomVersion(random);
    row[L"Platform"] = random->Pick(Texts{L"", L"", L"1", L"2", L"-1"});
    row[L"RefContent"] =
        random->Pick(Texts{L"", L"+1", L"-" + random->Number(), L"~", L"?", random->Text()});
    if (InsertRow(package, kTable, columns, row)) part->Count("rows");
  }
  struct Good {
    const wchar_t* property;
    const wchar_t* kind;
    std::wstring search;
    const wchar_t* value;
  } const goods[] = {
      {L"GOODFILE", L"0", folder / L"g*.exe?2", L"3.2.1.0"},
      {L"GOODKEYS", L"1", key.wide_path(), L"1.5"},
      {L"GOODPLACE", L"5", key.wide_path() + L"\\1.5", L"1"},
  };
  for (const Good& good : goods) {
    RandomRow row = {{L"Property", good.property},
                     {L"Order", util::ToDecimal(random->Below(1000))},
                     {L"Type", good.kind},
                     {L"SearchString", good.search}};
    if (good.value[1] != L'\0') row[L"VerMin"] = L"1.0";
    REQUIRE(InsertRow(package, kTable, columns, row));
  }

  ScriptedUi ui;
  MsiSessionRig rig(package);
  for (size_t i = 0; i < kProperties; ++i) rig.SetProperty(L"P" + util::ToDecimal(i), L"before");
  const auto of_the_installer = temp.Files();
  part->FaultIf(rig.Call("DoAppSearchEx") != 0, "the search failed");
  part->Count("calls");
  if (is_whole) {
    for (const Good& good : goods) {
      part->FaultIf(rig.Property(good.property) != good.value,
                    util::ToAnsi(std::wstring(good.property) + L" is \"" +
                                 rig.Property(good.property) + L"\""));
    }
  }
  for (size_t i = 0; i < kProperties; ++i) {
    const std::wstring value = rig.Property(L"P" + util::ToDecimal(i));
    part->FaultIf(value.empty(), "a search emptied a property");
    part->FaultIf(!is_whole && value != L"before", "a table that cannot be read found something");
    if (value != L"before") part->Count("found");
  }
  for (const std::wstring& path : foreign.FindHarmed()) {
    part->Fault("harmed " + util::ToAnsi(path));
  }
  part->FaultIf(temp.Files() != of_the_installer, "something is left in the temporary folder");
  const UINT leaked = rig.CountLeakedHandles() - 1;  // The package's database is open.
  part->FaultIf(leaked != 0, std::to_string(leaked) + " installer handles left open");
}

}  // namespace

TEST_CASE("search tables") {
  Part part("search tables", 60);
  const std::string program = test::VersionedContent(3, 2, 1, 0);
  part.ForEachRun([&](Random* random) { CheckTable(&part, random, program); });
}
