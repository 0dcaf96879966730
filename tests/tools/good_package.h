#ifndef TESTS_TOOLS_GOOD_PACKAGE_H_
#define TESTS_TOOLS_GOOD_PACKAGE_H_

#include <string>
#include <vector>

#include "report.h"
#include "support/test_package.h"

namespace test {

// A package made from the kit's tables in which nothing is wrong, and copies of it that are broken
// in one way each.
class GoodPackage {
 public:
  GoodPackage();

  [[nodiscard]] const std::wstring path() const { return package_.path(); }
  [[nodiscard]] const TempFolder& folder() const { return package_.folder(); }
  // The path of a copy on which the statements, one a line, were run.
  [[nodiscard]] std::wstring Broken(const std::wstring& statements) const;

 private:
  void AddTables();
  void AddRows();

  TestPackage package_;
};

// What the checker says of a package.
std::vector<check::Finding> FindingsOf(const std::wstring& path);

}  // namespace test

#endif  // TESTS_TOOLS_GOOD_PACKAGE_H_
