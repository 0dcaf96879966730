#include <doctest.h>

#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"

TEST_CASE("without a session every action ends well and says nothing") {
  const test::ScriptedUi ui;
  for (const char* action : {"DownloadPrereq", "ExtractPrereq", "InstallPrereq",
                             "InstallPostPrereq", "VerifyPrereq", "CleanPrereq", "DoAppSearchEx"}) {
    CAPTURE(action);
    for (const MSIHANDLE handle : {MSIHANDLE{0}, MSIHANDLE{12345}}) {
      CHECK(test::CallExport(action, handle) == 0);
    }
  }
  CHECK(ui.messages().empty());
  CHECK(::MsiCloseAllHandles() == 0);
}
