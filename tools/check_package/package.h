#ifndef CHECK_PACKAGE_PACKAGE_H_
#define CHECK_PACKAGE_PACKAGE_H_

#include <windows.h>
#include <msi.h>

#include <map>
#include <optional>
#include <set>
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

// Properties and their values.
using Values = std::map<std::wstring, std::wstring>;

// An .msi, opened to look at and never written, with an installation of it on which conditions and
// references can be tried: nothing is installed by it. Each table is read once, when it is first
// asked for. One package at a time, since a process can have only one installation open. The
// user-interface level is restored with it.
class Package {
 public:
  Package() = default;
  Package(const Package&) = delete;
  Package& operator=(const Package&) = delete;
  ~Package();

  // A system error code when the file is no package that can be read.
  [[nodiscard]] DWORD Open(const std::wstring& path);
  // The same without an installation.
  [[nodiscard]] DWORD OpenToRead(const std::wstring& path);

  // The code with which the installer refused to open an installation; everything that needs one
  // then answers nothing.
  [[nodiscard]] DWORD session_error() const { return session_error_; }
  // Null without an installation.
  [[nodiscard]] const msi::InstallerSession* session() const {
    return session_ ? &*session_ : nullptr;
  }

  [[nodiscard]] bool HasTable(const std::wstring& table) const;
  // Of every table that can hold texts, in no order: those with streams are left out.
  [[nodiscard]] std::vector<std::wstring> TextTables() const;
  // Nothing when there is no such table.
  [[nodiscard]] std::vector<Column> Columns(const std::wstring& table) const;
  // The rows of a table without streams, as long as the package is open; none when there is no such
  // table.
  [[nodiscard]] const std::vector<msi::TableRow>& Rows(const std::wstring& table) const;
  // What every row of a table has in one column.
  [[nodiscard]] std::set<std::wstring> Cells(const std::wstring& table,
                                             const wchar_t* column) const;
  // The names in the table `Binary`, and the stream of one; empty when there is none.
  [[nodiscard]] const std::set<std::wstring>& BinaryNames() const;
  [[nodiscard]] std::vector<unsigned char> BinaryData(const std::wstring& name) const;
  // The value in the table `Property`.
  [[nodiscard]] std::wstring DefaultOf(const std::wstring& property) const;
  // The package code of the summary information.
  [[nodiscard]] std::wstring PackageCode() const;

  // The condition as the installation stands, and with other values of some properties; nothing
  // without an installation.
  [[nodiscard]] std::optional<MSICONDITION> Evaluate(const std::wstring& condition,
                                                     const Values& values = {}) const;
  // The text with its references replaced; empty without an installation.
  [[nodiscard]] std::wstring Format(const std::wstring& text) const;

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
  mutable std::map<std::wstring, std::vector<msi::TableRow>> tables_;
  mutable std::optional<std::set<std::wstring>> binaries_;
  mutable std::optional<Values> defaults_;
};

}  // namespace check

#endif  // CHECK_PACKAGE_PACKAGE_H_
