#ifndef TESTS_TOOLS_GOOD_PACKAGE_H_
#define TESTS_TOOLS_GOOD_PACKAGE_H_

#include <string>

#include "support/test_package.h"

namespace test {

// The package of good_package.txt, in which nothing is wrong, and copies of it that are changed.
class GoodPackage {
 public:
  GoodPackage();

  [[nodiscard]] std::wstring path() const { return package_.path(); }
  [[nodiscard]] const TempFolder& folder() const { return package_.folder(); }
  // The path of a copy on which the statements were run: always the same file.
  [[nodiscard]] std::wstring Changed(const std::wstring& statements) const;

 private:
  TestPackage package_;
};

}  // namespace test

#endif  // TESTS_TOOLS_GOOD_PACKAGE_H_
