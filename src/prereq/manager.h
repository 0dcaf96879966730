#ifndef PREREQ_MANAGER_H_
#define PREREQ_MANAGER_H_

#include <windows.h>
#include <msi.h>

#include <cstdint>

#include "msi/session.h"
#include "prereq/progress_reporter.h"

namespace prereq {

// What one prerequisite custom action works with. Lives on the stack of its entry point; every
// phase is a function over it. Used only on the thread that entered the custom action.
class PrerequisiteManager {
 public:
  // `install` is borrowed and never closed.
  explicit PrerequisiteManager(MSIHANDLE install) : session_(install), progress_(install) {}

  // Tells the user which action runs, with the texts that the package's `ActionText` table has
  // under `action`; nothing is sent when it has none.
  void Announce(const wchar_t* action) const;

  [[nodiscard]] const msi::InstallerSession& session() const { return session_; }
  [[nodiscard]] ProgressReporter& progress() { return progress_; }
  [[nodiscard]] MSIHANDLE install() const { return session_.handle(); }

  // What the action returns to the installer: 0, or 2 once the user refused to go on.
  [[nodiscard]] uint32_t result() const { return result_; }
  void set_result(uint32_t result) { result_ = result; }

 private:
  msi::InstallerSession session_;
  ProgressReporter progress_;
  uint32_t result_ = ERROR_SUCCESS;
};

}  // namespace prereq

#endif  // PREREQ_MANAGER_H_
