#ifndef CHECK_PACKAGE_REGISTRY_TYPES_H_
#define CHECK_PACKAGE_REGISTRY_TYPES_H_

#include <map>
#include <optional>
#include <string>

#include "package.h"

namespace check {

// Why a value of the registry is of a type that cannot be compared.
struct OtherType {
  enum class Source { kPackage, kWindows, kThisMachine };
  Source source;
  std::wstring type;  // In words, with the row of the table `Registry` that says so.
  std::wstring row;
};

// What is known of the types of values: from the package, from Windows and from this machine.
class RegistryTypes {
 public:
  explicit RegistryTypes(const Package& package) : package_(package) {}

  // Nothing when the value at that path, its root in front, may well be a text or a number.
  [[nodiscard]] std::optional<OtherType> Find(const std::wstring& path, bool view64) const;

 private:
  void ReadPackage() const;

  const Package& package_;
  // By their paths in capitals; read when it is first asked for.
  mutable std::optional<std::map<std::wstring, OtherType>> written_;
};

}  // namespace check

#endif  // CHECK_PACKAGE_REGISTRY_TYPES_H_
