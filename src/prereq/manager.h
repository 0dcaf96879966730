#ifndef PREREQ_MANAGER_H_
#define PREREQ_MANAGER_H_

#include <windows.h>
#include <msi.h>

#include "msi/session.h"
#include "prereq/progress_reporter.h"

namespace prereq {

// How a custom action ended.
enum class ActionEnd {
  kDone,
  kRefused,    // The user refused to go on at a prompt.
  kCancelled,  // The user cancelled while setup files were unpacked.
};

// What one prerequisite custom action works with. Lives on the stack of its entry point; every
// phase is a function over it. Used only on the thread that entered the custom action.
class PrerequisiteManager {
 public:
  // `install` is borrowed and never closed.
  explicit PrerequisiteManager(MSIHANDLE install) : session_(install), progress_(session_) {}

  // Tells the user which action runs, with the texts that the package's `ActionText` table has
  // under `action`; nothing is sent when it has none.
  void Announce(const wchar_t* action) const;

  [[nodiscard]] const msi::InstallerSession& session() const { return session_; }
  [[nodiscard]] ProgressReporter& progress() { return progress_; }

 private:
  msi::InstallerSession session_;
  ProgressReporter progress_;
};

}  // namespace prereq

#endif  // PREREQ_MANAGER_H_
