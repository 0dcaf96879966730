#include "prereq/carried_properties.h"

#include <doctest.h>

#include "support/action_fixture.h"
#include "support/data_rows.h"
#include "util/text.h"

using test::ActionFixture;
using Texts = std::vector<std::string>;  // Narrow, so that a failed check can show it.

namespace {

Texts Collect(ActionFixture* fixture) {
  Texts result;
  prereq::CarriedProperties carried(fixture->session().session());
  for (const std::wstring& assignment : carried.Collect()) {
    result.push_back(util::ToAnsi(assignment));
  }
  return result;
}

std::wstring WithLongText(std::wstring text) {
  if (const size_t at = text.find(L"LONGTEXT"); at != text.npos) text.replace(at, 8, 20000, L'x');
  return text;
}

}  // namespace

TEST_CASE("what is carried, in which order and how it is quoted") {
  ActionFixture fixture;
  test::TestPackage& package = fixture.package();
  Texts wanted;
  for (const test::DataRow& row : test::ReadDataRows("prereq/carried.txt")) {
    CAPTURE(row.line);
    if (row[0] == L"public") {
      CHECK(prereq::IsPublicPropertyName(row[1]) == row.Yes(2));
    } else if (row[0] == L"property") {
      package.AddProperty(row[1], row[2]);
    } else if (row[0] == L"table") {
      package.Execute(L"CREATE TABLE `" + row[1] +
                      L"` (`Key` CHAR(9) NOT NULL, `Property` CHAR(72) PRIMARY KEY `Key`)");
      int key = 0;
      for (const std::wstring& name : util::Split(row[2], L';')) {
        package.AddRow(row[1], {{L"Key", std::to_wstring(++key)}, {L"Property", name}});
      }
    } else if (row[0] == L"directory") {
      package.AddRow(
          L"Directory",
          {{L"Directory", row[1]}, {L"Directory_Parent", L"TARGETDIR"}, {L"DefaultDir", row[1]}});
    } else if (row[0] == L"set") {
      fixture.session().SetProperty(row[1], WithLongText(row[2]));
    } else {
      wanted.push_back(util::ToAnsi(WithLongText(row[1])));
    }
  }
  CHECK(Collect(&fixture) == wanted);
}

TEST_CASE("a package without the naming tables carries what the session set") {
  ActionFixture fixture;
  CHECK(Collect(&fixture) ==
        Texts{"INSTALLLEVEL=\"1\"", "ROOTDRIVE=\"C:\\\\\"", "TARGETDIR=\"C:\\\\\""});
}
