#ifndef TESTS_RELIABILITY_BUSY_SESSION_H_
#define TESTS_RELIABILITY_BUSY_SESSION_H_

#include <windows.h>
#include <msi.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>

#include "support/fault_server.h"
#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/setup_program.h"
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
  FaultServer server_;
  SetupProgram setup_{folder_, L"source\\setup.exe"};
  SetupProgram bootstrap_{folder_, L"source\\bootstrap.exe"};
  TestPackage package_;
  ScriptedUi ui_;
  std::optional<MsiSessionRig> rig_;
};

// What Wine never frees, measured with nothing but these calls in a loop: four blocks of 87 bytes
// together each time the task scheduler's object is made and released, and one of 96 bytes with
// each HTTP request sent.
inline constexpr uint32_t kLostWithScheduler = 87;
inline constexpr uint32_t kLostWithRequest = 96;

struct CustomAction {
  const char* name;
  uint32_t lost_bytes;  // By the system, in each call.
};

inline constexpr std::initializer_list<CustomAction> kCustomActions = {
    {"DoAppSearchEx", 0},
    {"DownloadPrereq", kLostWithRequest},
    {"ExtractPrereq", 0},
    {"InstallPrereq", kLostWithScheduler},
    {"InstallPostPrereq", kLostWithScheduler},
    {"VerifyPrereq", 0},
    {"CleanPrereq", kLostWithScheduler},
};

}  // namespace test

#endif  // TESTS_RELIABILITY_BUSY_SESSION_H_
