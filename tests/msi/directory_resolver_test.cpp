#include "msi/directory_resolver.h"

#include <doctest.h>

#include "support/data_rows.h"
#include "support/msi_session_rig.h"

TEST_CASE("a directory key becomes a path through its parents") {
  test::TestPackage package;
  test::MsiSessionRig rig(package);
  rig.SetProperty(L"Base", L"D:\\base\\");
  rig.SetProperty(L"Bare", L"D:\\bare");
  rig.SetProperty(L"CircleWithProperty", L"E:\\");
  msi::DirectoryResolver resolver(rig.session());
  for (const test::DataRow& row : test::ReadDataRows("msi/directories.txt")) {
    CAPTURE(row.line);
    if (row[0] == L"row") {
      // After costing, so that the installer has not resolved these.
      package.Execute(
          L"INSERT INTO `Directory` (`Directory`,`Directory_Parent`,`DefaultDir`) VALUES ('" +
          row[1] + L"','" + row[2] + L"','" + row[3] + L"')");
    } else {
      CHECK(resolver.ResolveDirectory(row[1]) == row[2]);
    }
  }
  // What was resolved once stays, until the installer has an answer of its own.
  rig.SetProperty(L"Base", L"F:\\");
  CHECK(resolver.ResolveDirectory(L"LongName") == L"D:\\base\\app\\a long name\\");
  rig.SetProperty(L"LongName", L"G:\\chosen\\");
  CHECK(resolver.ResolveDirectory(L"LongName") == L"G:\\chosen\\");
  CHECK(msi::DirectoryResolver(rig.session()).ResolveDirectory(L"Plain") == L"F:\\app\\");
  package.Close();
  CHECK(rig.CountLeakedHandles() == 0);
}
