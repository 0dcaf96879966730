#ifndef CHECK_PACKAGE_SEARCH_H_
#define CHECK_PACKAGE_SEARCH_H_

#include <string>

#include "appsearch/criterion.h"
#include "checks.h"
#include "registry_types.h"

namespace check {

// One row of `QX_AppSearchEx`.
struct Search {
  const msi::TableRow& row;
  appsearch::SearchKind kind;
  std::wstring text;  // Its `SearchString`.
  std::string plain;  // The same for the search engine's rules, references in it as they stand.
  bool view64;
  const RegistryTypes& types;

  [[nodiscard]] std::wstring Number() const;
  [[nodiscard]] Place At(const wchar_t* column) const;
};

// The path of a search for a file.
void CheckFile(const Context& context, const Search& search);
// The key or value of a search in the registry.
void CheckRegistry(const Context& context, const Search& search);
// Values of the registry that a text refers to: !HKLM\key\value!
void CheckRegistryReferences(const Context& context, const Search& search);
// `VerMin` and `VerMax`.
void CheckBounds(const Context& context, const Search& search);
// `RefContent`.
void CheckRefContent(const Context& context, const Search& search);
// Results that nothing reads.
void CheckReaders(const Context& context);

}  // namespace check

#endif  // CHECK_PACKAGE_SEARCH_H_
