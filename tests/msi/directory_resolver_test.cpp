#include "msi/directory_resolver.h"

#include <doctest.h>

#include <string>

#include "support/msi_session_rig.h"
#include "support/test_package.h"
#include "util/text.h"

using test::MsiSessionRig;
using test::TestPackage;

TEST_CASE("a directory key becomes a path through its parents") {
  TestPackage package;
  struct Row {
    const wchar_t* key;
    const wchar_t* parent;
    const wchar_t* default_dir;
  };
  const Row rows[] = {
      {L"Plain", L"Base", L"app"},
      {L"LongName", L"Plain", L"SHORT~1|a long name"},
      {L"TargetAndSource", L"LongName", L"T~1|target:S~1|source"},
      {L"SourceOnlyLong", L"Plain", L"target:S~1|source"},
      {L"SameFolder", L"Plain", L"."},
      {L"SameTarget", L"Plain", L".:source"},
      {L"Orphan", L"Nowhere", L"orphan"},
      {L"Root", L"", L"root"},
      {L"OwnParent", L"OwnParent", L"own"},
      {L"BelowOwn", L"OwnParent", L"below"},
      {L"BareBase", L"Bare", L"sub"},
      {L"Circle1", L"Circle2", L"c1"},
      {L"Circle2", L"Circle3", L"c2"},
      {L"Circle3", L"Circle1", L"c3"},
      {L"BelowCircle", L"Circle1", L"below"},
      {L"WayOut", L"CircleWithProperty", L"out"},
      {L"CircleWithProperty", L"WayOut", L"x"},
  };
  MsiSessionRig rig(package);
  // After costing, so that the installer has not resolved these.
  for (const Row& row : rows) {
    package.Execute(
        std::wstring(L"INSERT INTO `Directory` (`Directory`,`Directory_Parent`,`DefaultDir`) "
                     L"VALUES ('") +
        row.key + L"','" + row.parent + L"','" + row.default_dir + L"')");
  }
  rig.SetProperty(L"Base", L"D:\\base\\");
  rig.SetProperty(L"Bare", L"D:\\bare");
  rig.SetProperty(L"CircleWithProperty", L"E:\\");
  struct Case {
    const wchar_t* key;
    const wchar_t* path;
  };
  const Case cases[] = {
      {L"TargetAndSource", L"D:\\base\\app\\a long name\\target\\"},
      {L"Base", L"D:\\base\\"},
      {L"Bare", L"D:\\bare"},
      {L"BareBase", L"D:\\bare\\sub\\"},
      {L"Plain", L"D:\\base\\app\\"},
      {L"LongName", L"D:\\base\\app\\a long name\\"},
      {L"SourceOnlyLong", L"D:\\base\\app\\target\\"},
      {L"SameFolder", L"D:\\base\\app\\"},
      {L"SameTarget", L"D:\\base\\app\\"},
      {L"Orphan", L"orphan\\"},
      {L"Root", L"root\\"},
      {L"BelowOwn", L"own\\below\\"},
      {L"OwnParent", L"own\\"},
      {L"Circle1", L""},
      {L"Circle3", L""},
      {L"BelowCircle", L""},
      {L"WayOut", L"E:\\out\\"},
      {L"Unknown", L""},
      {L"it's", L""},
      {L"", L""},
  };
  {
    msi::DirectoryResolver resolver(rig.handle());
    for (const Case& c : cases) {
      CAPTURE(util::ToAnsi(c.key));
      CHECK(resolver.ResolveDirectory(c.key) == c.path);
    }
    // What was resolved once stays, until the installer has an answer of its own.
    rig.SetProperty(L"Base", L"F:\\");
    CHECK(resolver.ResolveDirectory(L"LongName") == L"D:\\base\\app\\a long name\\");
    rig.SetProperty(L"LongName", L"G:\\chosen\\");
    CHECK(resolver.ResolveDirectory(L"LongName") == L"G:\\chosen\\");
    CHECK(msi::DirectoryResolver(rig.handle()).ResolveDirectory(L"Plain") == L"F:\\app\\");
  }
  package.Close();
  CHECK(rig.CountLeakedHandles() == 0);
}
