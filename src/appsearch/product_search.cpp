#include "appsearch/product_search.h"

#include <windows.h>
#include <msi.h>

namespace appsearch {
namespace {

constexpr size_t kGuidChars = 38;

void AddVersion(const char* product, Findings* findings) {
  char empty[1] = "";
  DWORD length = 0;
  std::string version;
  UINT error = ::MsiGetProductInfoA(product, "VersionString", empty, &length);
  if (error == ERROR_MORE_DATA) {
    version.resize(++length);
    error = ::MsiGetProductInfoA(product, "VersionString", version.data(), &length);
  }
  if (error != ERROR_SUCCESS) return;
  findings->emplace_back(version.c_str());
}

}  // namespace

void FindProductVersion(const Criterion& criterion, Findings* findings) {
  AddVersion(criterion.search.c_str(), findings);
}

void FindRelatedVersions(const Criterion& criterion, Findings* findings) {
  char product[kGuidChars + 1];
  for (DWORD index = 0;
       ::MsiEnumRelatedProductsA(criterion.search.c_str(), 0, index, product) == ERROR_SUCCESS;
       ++index) {
    AddVersion(product, findings);
  }
}

bool IsComponentInstalled(const Criterion& criterion) {
  char empty[1] = "";
  DWORD length = 0;
  INSTALLSTATE state = ::MsiLocateComponentA(criterion.search.c_str(), empty, &length);
  if (state == INSTALLSTATE_MOREDATA) {
    std::string path(++length, '\0');
    state = ::MsiLocateComponentA(criterion.search.c_str(), path.data(), &length);
  }
  return state == INSTALLSTATE_LOCAL || state == INSTALLSTATE_SOURCE;
}

}  // namespace appsearch
