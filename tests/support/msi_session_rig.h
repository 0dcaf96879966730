#ifndef TESTS_SUPPORT_MSI_SESSION_RIG_H_
#define TESTS_SUPPORT_MSI_SESSION_RIG_H_

#include <optional>
#include <string>

#include "msi/session.h"
#include "support/test_package.h"

namespace test {

// A real installer session on a test package, costed, in this process: what a custom action gets.
// One at a time. Make the ScriptedUi first, so that it sees the session's messages.
class MsiSessionRig {
 public:
  explicit MsiSessionRig(const TestPackage& package);
  MsiSessionRig(const MsiSessionRig&) = delete;
  MsiSessionRig& operator=(const MsiSessionRig&) = delete;
  ~MsiSessionRig();

  [[nodiscard]] MSIHANDLE handle() const { return handle_; }
  [[nodiscard]] const msi::InstallerSession& session() const { return *session_; }
  [[nodiscard]] std::wstring Property(const std::wstring& name) const;
  void SetProperty(const std::wstring& name, const std::wstring& value) const;

  // Calls a custom action of the built library with the session's handle.
  UINT Call(const char* custom_action) const;

  // Installer handles that are still open after the session's own is closed; 0 when nothing leaked.
  // The session cannot be used afterwards. The package's database, if still open, counts too.
  UINT CountLeakedHandles();

 private:
  std::wstring product_code_;
  MSIHANDLE handle_ = 0;
  std::optional<msi::InstallerSession> session_;
};

// Calls an export of the built library with any handle.
UINT CallExport(const char* custom_action, MSIHANDLE install);

}  // namespace test

#endif  // TESTS_SUPPORT_MSI_SESSION_RIG_H_
