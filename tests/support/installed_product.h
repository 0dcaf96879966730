#ifndef TESTS_SUPPORT_INSTALLED_PRODUCT_H_
#define TESTS_SUPPORT_INSTALLED_PRODUCT_H_

#include <doctest.h>

#include "support/test_package.h"

namespace test {

// Installs a closed package with the real installer service and removes the product again.
class InstalledProduct {
 public:
  explicit InstalledProduct(const TestPackage& package) : path_(package.path()) {
    ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    REQUIRE(::MsiInstallProductW(path_.c_str(), L"") == ERROR_SUCCESS);
  }
  InstalledProduct(const InstalledProduct&) = delete;
  InstalledProduct& operator=(const InstalledProduct&) = delete;
  ~InstalledProduct() { ::MsiInstallProductW(path_.c_str(), L"REMOVE=ALL"); }

 private:
  std::wstring path_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_INSTALLED_PRODUCT_H_
