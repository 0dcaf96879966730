#ifndef TESTS_SUPPORT_TEST_PACKAGE_H_
#define TESTS_SUPPORT_TEST_PACKAGE_H_

#include <string>
#include <utility>
#include <vector>

#include "msi/handles.h"
#include "support/temp_folder.h"

namespace test {

// One row of `QX_PreRequisite`. A number is given as text, so that a cell can be null.
struct Prerequisite {
  std::wstring name = {};  // DisplayName and, with a "key-" before it, the primary key.
  int sequence = 1;
  std::wstring missing = {};  // MissingCondition
  std::wstring location = L"0";
  std::wstring url = {};
  std::wstring target = {};  // TargetName
  std::wstring size = {};    // ExactSize
  std::wstring md5 = {};
  std::wstring arguments = {};  // ComLine
  std::wstring options = {};
  std::wstring languages = {};
  std::wstring feature = L"Main";
};

// A small package: a database in a folder of its own, with the tables that costing needs, one
// feature "Main" of one component, the kit's texts and an empty `QX_PreRequisite` as the kit
// defines it.
class TestPackage {
 public:
  TestPackage();

  void AddPrerequisite(const Prerequisite& row);
  // A row of that table, column by column; an empty cell is a null.
  using Cells = std::vector<std::pair<std::wstring, std::wstring>>;
  void AddRow(const std::wstring& table, const Cells& cells);
  void AddProperty(const std::wstring& name, const std::wstring& value);
  // A feature with a component that holds one file of that size. Level 0 disables it.
  void AddFeature(const std::wstring& name, int level, int file_bytes,
                  const std::wstring& parent = {});
  void AddComponent(const std::wstring& name, const std::wstring& code,
                    const std::wstring& feature);
  // Runs one statement of SQL that must succeed.
  void Execute(const std::wstring& sql);
  // One row with a stream in column `column` and a name in column `Name`.
  void AddStream(const std::wstring& table, const std::wstring& column, const std::wstring& name,
                 const std::wstring& file);
  // Imports one text table.
  void Import(const std::wstring& folder, const std::wstring& file);

  [[nodiscard]] MSIHANDLE database() const { return database_.Get(); }
  [[nodiscard]] const TempFolder& folder() const { return folder_; }
  [[nodiscard]] std::wstring path() const { return folder_ / L"package.msi"; }
  [[nodiscard]] const std::wstring& product_code() const { return product_code_; }
  // Writes the database to disk, as installing the package needs; no changes after it. Once more
  // does nothing.
  void Close();

 private:
  TempFolder folder_;
  std::wstring product_code_;
  msi::UniqueMsiHandle database_;
};

// A fresh GUID in the installer's form.
std::wstring NewGuid();

}  // namespace test

#endif  // TESTS_SUPPORT_TEST_PACKAGE_H_
