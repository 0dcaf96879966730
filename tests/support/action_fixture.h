#ifndef TESTS_SUPPORT_ACTION_FIXTURE_H_
#define TESTS_SUPPORT_ACTION_FIXTURE_H_

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/temp_folder.h"
#include "support/test_package.h"

namespace test {

// One message in one line. A message of the usual form is its kind, its fields between bars and
// nothing for empty fields at its end:
//   start ACTION | description | template     data NAME     reset      bar TICKS
//   prompt NUMBER | argument  (Yes and No)    done NAME  (data whose second field is a blank)
//   retry NUMBER | ...  (Retry and Cancel; "free" is what the drive has)    error TEXT    info TEXT
//   failure TEXT  (an error of two fields, as downloads report it)
// Any other begins with its type as a hexadecimal number, and tells how many fields it has.
std::wstring Describe(const UiMessage& message);

// What an action is tested with: a package, a folder for files, a user and a session. When it goes,
// the session has ended and no installer handle may be left open: else the test fails.
class ActionFixture {
 public:
  ActionFixture();
  ActionFixture(const ActionFixture&) = delete;
  ActionFixture& operator=(const ActionFixture&) = delete;
  ~ActionFixture();

  // Complete before the first use of the session, which writes it to disk.
  [[nodiscard]] TestPackage& package() { return package_; }
  [[nodiscard]] MsiSessionRig& session();
  [[nodiscard]] const TempFolder& folder() const { return *folder_; }
  // Another empty folder takes the place of the first.
  void RenewFolder() { folder_.emplace(); }
  [[nodiscard]] ScriptedUi& ui() { return ui_; }

  // Calls an export and notes the messages as lines. In `script`, the trace that is expected, a
  // line may end with " -> yes", "no", "ok", "cancel" or "retry": when the message comes in that
  // place, this is its answer. "bar *" stands for any number. A line "registered" stands where the
  // command for the next logon was there for the first time, and one of its own for every message
  // that came from another thread.
  UINT Call(const std::string& action, const std::vector<std::wstring>& script = {});
  // The lines of the last call, the answers given by the script with them.
  [[nodiscard]] const std::vector<std::wstring>& trace() const { return trace_; }
  // Done in the next calls whenever that line is shown.
  void At(const std::wstring& line, std::function<void()> action) { at_[line] = std::move(action); }
  void ForgetActions() { at_.clear(); }
  // Increments in a row become one line: how many pieces a download comes in is not known before.
  void AddUpBars(bool add_up) { add_up_bars_ = add_up; }

 private:
  UiMessage Shown(UiMessage message);
  std::optional<int> Note(const UiMessage& message, const std::vector<std::wstring>& script,
                          DWORD thread);

  TestPackage package_;
  std::optional<TempFolder> folder_;
  ScriptedUi ui_;
  std::optional<MsiSessionRig> session_;
  std::vector<std::wstring> trace_;
  std::map<std::wstring, std::function<void()>> at_;
  bool add_up_bars_ = false;
  bool registered_ = false;
};

}  // namespace test

#endif  // TESTS_SUPPORT_ACTION_FIXTURE_H_
