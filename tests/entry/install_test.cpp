#include <doctest.h>

#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/test_package.h"

using test::MsiSessionRig;
using test::ScriptedUi;
using test::TestPackage;

TEST_CASE("rig") {
  TestPackage package;
  package.AddPrerequisite({.name = L"first", .sequence = 1, .missing = L"1=1"});
  package.AddPrerequisite({.name = L"second", .sequence = 2, .missing = L"1=1"});
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  ui.Clear();
  CHECK(rig.Call("VerifyPrereq") == 2);
  for (auto& m : ui.messages()) {
    printf("%08x:", m.type);
    for (auto& f : m.fields) printf(" <%ls>", f.c_str());
    printf("\n");
  }
  CHECK(rig.CountLeakedHandles() == 0);
}
