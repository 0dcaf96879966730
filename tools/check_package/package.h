#ifndef CHECK_PACKAGE_PACKAGE_H_
#define CHECK_PACKAGE_PACKAGE_H_

#include <windows.h>
#include <msi.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "msi/handles.h"
#include "msi/session.h"
#include "msi/table_snapshot.h"

namespace check {

struct Column {
  std::wstring name;
  wchar_t type;  // In lower case: "s" and "l" are texts, "i" a number, "v" a stream.
};

// An .msi, opened to look at and never written, with an installation of it on which conditions and
// references can be tried: nothing is installed by it. One at a time, since a process can have only
// one installation open. The user-interface level is restored with it.
class Package {
 public:
  Package() = default;
  Package(const Package&) = delete;
  Package& operator=(const Package&) = delete;
  ~Package();

  // A system error code when the file is no package that can be read.
  [[nodiscard]] DWORD Open(const std::wstring& path);

  // The code with which the installer refused to open an installation; everything that needs one
  // then answers nothing.
  [[nodiscard]] DWORD session_error() const { return session_error_; }
  // Null without an installation.
  [[nodiscard]] const msi::InstallerSession* session() const {
    return session_ ? &*session_ : nullptr;
  }

  [[nodiscard]] bool HasTable(const wchar_t* table) const;
  // Nothing when there is no such table.
  [[nodiscard]] std::vector<Column> Columns(const std::wstring& table) const;
  // Those columns of every row, all columns when none are named; nothing when one is missing.
  [[nodiscard]] std::vector<msi::TableRow> Rows(
      const wchar_t* table, std::initializer_list<const wchar_t*> columns = {}) const;
  // The stream of one row of `Binary`; empty when there is none.
  [[nodiscard]] std::vector<unsigned char> BinaryData(const std::wstring& name) const;
  // The value in the table `Property`.
  [[nodiscard]] std::wstring DefaultOf(const std::wstring& property) const;

  [[nodiscard]] std::optional<MSICONDITION> Evaluate(const std::wstring& condition) const;
  // As with another level of the user interface.
  [[nodiscard]] std::optional<MSICONDITION> EvaluateAt(int ui_level,
                                                       const std::wstring& condition) const;

  // Where the package lies, with a backslash at its end.
  [[nodiscard]] const std::wstring& folder() const { return folder_; }

 private:
  [[nodiscard]] msi::UniqueMsiHandle OpenDatabase() const;
  void OpenSession();

  std::wstring path_;
  std::wstring folder_;
  msi::UniqueMsiHandle database_;
  msi::UniqueMsiHandle install_;
  std::optional<msi::InstallerSession> session_;
  DWORD session_error_ = 0;
  std::optional<INSTALLUILEVEL> old_ui_;
};

}  // namespace check

#endif  // CHECK_PACKAGE_PACKAGE_H_
