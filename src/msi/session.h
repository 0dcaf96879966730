#ifndef MSI_SESSION_H_
#define MSI_SESSION_H_

#include <string>

#include "msi/handles.h"

namespace msi {

// The running installation as a custom action sees it, on plain wide strings: the one way to the
// installer, whose handle nobody else holds. A failed read is an empty string, a failed write or
// test is false; nothing is reported to the user or the log. Used only on the thread that entered
// the custom action.
class InstallerSession {
 public:
  // `install` is borrowed and never closed. 0 means that there is no session: reads are empty,
  // writes are refused.
  explicit InstallerSession(MSIHANDLE install) : install_(install) {}
  InstallerSession(const InstallerSession&) = delete;
  InstallerSession& operator=(const InstallerSession&) = delete;

  // A property that is not set reads as empty; callers cannot tell it from one set to "". Virtual,
  // so that a derived session can answer reads differently.
  virtual std::wstring GetProperty(const std::wstring& name) const;
  // Compatibility: declared after the read, which so comes first among the virtual operations.
  virtual ~InstallerSession() = default;

  // True when the value was read; otherwise `value` is left empty. False also when the installer
  // answers the sizing call with anything but "more data", as it does for an invalid name.
  bool TryGetProperty(const std::wstring& name, std::wstring* value) const;

  // False without a call when there is no session or the name is empty. An empty value clears the
  // property.
  bool SetProperty(const std::wstring& name, const std::wstring& value) const;

  // Compatibility: an empty condition is satisfied, one that does not parse is not.
  bool EvaluateCondition(const std::wstring& condition) const;

  // The installer's own answer, for callers that draw the line elsewhere.
  MSICONDITION GetConditionState(const std::wstring& condition) const;

  // States are the installer's INSTALLSTATE numbers, unchanged. False, with the out values as they
  // were, for an unknown feature or before costing.
  bool GetFeatureState(const std::wstring& feature, INSTALLSTATE* installed,
                       INSTALLSTATE* action) const;
  bool GetFeatureValidStates(const std::wstring& feature, DWORD* states) const;
  bool SetFeatureState(const std::wstring& feature, INSTALLSTATE state) const;

  // Disk space in kilobytes that the feature (with its children, if asked) takes in its pending
  // state, or in its installed state when nothing is pending. 0 on any failure.
  int GetFeatureCostKB(const std::wstring& feature, bool include_children) const;

  bool SetTargetPath(const std::wstring& directory, const std::wstring& path) const;
  bool SetInstallLevel(int level) const;

  // Runs the action `name`, in the ANSI code page, of the package or the installer. True when it
  // succeeded.
  bool DoAction(const char* name) const;

  // True when the product is installed already: the property "Installed" is not empty.
  bool IsInstalled() const;

  [[nodiscard]] bool is_open() const { return install_ != 0; }

  // The database of the running package; empty without a session. The caller's own.
  [[nodiscard]] UniqueMsiHandle OpenDatabase() const;

  // Sends a record as a message and gives the installer's answer. `message` is its type with the
  // flags of a message box.
  int ProcessMessage(UINT message, MSIHANDLE record) const;

  // Field 0 of the record with its references replaced. An error code; `text` stays as it was then.
  [[nodiscard]] UINT FormatRecord(MSIHANDLE record, std::wstring* text) const;

 private:
  MSIHANDLE install_;
};

// `text` with its property references and other bracketed parts replaced by the installer. Empty on
// any failure; an empty text is answered without asking the installer.
std::wstring FormatText(const InstallerSession& session, const std::wstring& text);

}  // namespace msi

#endif  // MSI_SESSION_H_
