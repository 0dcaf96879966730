#ifndef TESTS_RELIABILITY_BUSY_SESSION_H_
#define TESTS_RELIABILITY_BUSY_SESSION_H_

#include <windows.h>
#include <msi.h>

#include <functional>
#include <optional>
#include <string>

#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/setup_program.h"
#include "support/socket_server.h"
#include "support/temp_folder.h"
#include "support/test_key.h"
#include "support/test_package.h"

namespace test {

// A session in which every custom action has something small to do, again at every call: a file to
// download, one to unpack, setups to run, a prerequisite that is missing, files to delete, things
// to find.
class BusySession {
 public:
  BusySession();

  // Runs `call`, which is to call that custom action with handle(); false when it did not do its
  // work.
  bool Run(const std::string& custom_action, const std::function<UINT()>& call);

  [[nodiscard]] MSIHANDLE handle() const { return rig_->handle(); }
  // The session cannot be used afterwards.
  UINT CountLeakedHandles() { return rig_->CountLeakedHandles(); }

 private:
  void Prepare();

  TempFolder folder_;
  TestKey key_;
  SocketServer server_;
  SetupProgram setup_{folder_, L"source\\setup.exe"};
  SetupProgram bootstrap_{folder_, L"source\\bootstrap.exe"};
  TestPackage package_;
  ScriptedUi ui_;
  std::optional<MsiSessionRig> rig_;
};

inline constexpr const char* kCustomActions[] = {
    "DoAppSearchEx",     "DownloadPrereq", "ExtractPrereq", "InstallPrereq",
    "InstallPostPrereq", "VerifyPrereq",   "CleanPrereq"};

}  // namespace test

#endif  // TESTS_RELIABILITY_BUSY_SESSION_H_
