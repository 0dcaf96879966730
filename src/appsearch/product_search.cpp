#include "appsearch/product_search.h"

#include <windows.h>
#include <msi.h>

#include <utility>

#include "msi/handles.h"

namespace appsearch {
namespace {

constexpr size_t kGuidChars = 38;

void AddVersion(const char* product, Findings* findings) {
  std::string version;
  const auto read = [product](char* buffer, DWORD* length) {
    return ::MsiGetProductInfoA(product, "VersionString", buffer, length);
  };
  if (msi::ReadSized(read, &version) == ERROR_SUCCESS) findings->push_back(std::move(version));
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
  INSTALLSTATE state = INSTALLSTATE_UNKNOWN;
  std::string unused;
  (void)msi::ReadSized(
      [&](char* path, DWORD* length) -> UINT {
        state = ::MsiLocateComponentA(criterion.search.c_str(), path, length);
        return state == INSTALLSTATE_MOREDATA ? ERROR_MORE_DATA : ERROR_SUCCESS;
      },
      &unused);
  return state == INSTALLSTATE_LOCAL || state == INSTALLSTATE_SOURCE;
}

}  // namespace appsearch
