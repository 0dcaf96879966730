#include "good_package.h"

#include <windows.h>

#include <doctest.h>

#include "package_edits.h"
#include "support/data_rows.h"

namespace test {

GoodPackage::GoodPackage() {
  // In UTF-8, so that its texts do not depend on the machine's code page.
  folder().Write(L"_ForceCodepage.idt", "\r\n\r\n65001\t_ForceCodepage\r\n");
  package_.Import(folder().path(), L"_ForceCodepage.idt");
  package_.Import(PREREQ_PACKAGE_DIR L"\\tables", L"QX_AppSearchEx.idt");
  for (const DataRow& row : ReadDataRows("tools/good_package.txt")) {
    EditPackage(package_.database(), folder(), row[0]);
  }
  package_.AddStream(L"Binary", L"Data", L"Prereq.dll", ProgramFolder() + L"\\named_exports.dll");
  package_.AddStream(L"Binary", L"Data", L"PrereqFinish.dll",
                     ProgramFolder() + L"\\PrereqFinish.dll");
  package_.AddStream(L"Binary", L"Data", L"Mine.dll", ProgramFolder() + L"\\own_library.dll");
  package_.AddStream(L"Binary", L"Data", L"Check.exe", folder().Write(L"check.exe", "program"));
  folder().Write(L"ToolsSetup.exe", "1234");
  package_.Close();
}

std::wstring GoodPackage::Changed(const std::wstring& statements) const {
  const std::wstring copy = folder() / L"changed.msi";
  REQUIRE(::CopyFileW(path().c_str(), copy.c_str(), FALSE));
  msi::UniqueMsiHandle database;
  REQUIRE(::MsiOpenDatabaseW(copy.c_str(), MSIDBOPEN_TRANSACT, database.Receive()) ==
          ERROR_SUCCESS);
  EditPackage(database.Get(), folder(), statements);
  REQUIRE(::MsiDatabaseCommit(database.Get()) == ERROR_SUCCESS);
  return copy;
}

}  // namespace test
