#include "appsearch/registry_search.h"

#include <windows.h>

#include <optional>

#include "appsearch/registry_values.h"
#include "appsearch/value_comparison.h"

namespace appsearch {
namespace {

// A key's name has at most 255 letters, each at most two bytes here and one for the end.
constexpr DWORD kKeyNameBytes = 512;

struct OpenedValue {
  util::UniqueRegistryKey key;  // Empty when it does not open.
  std::string name;
};

OpenedValue OpenKeyOfValue(const Criterion& criterion) {
  std::optional<ValuePath> path = SplitValuePath(criterion.search);
  if (!path) return {};
  return {OpenKey(path->key, criterion.view64), std::move(path->name)};
}

}  // namespace

void FindSubkeys(const Criterion& criterion, Findings* findings) {
  const util::UniqueRegistryKey key = OpenKey(criterion.search, criterion.view64);
  if (!key) return;
  char name[kKeyNameBytes];
  for (DWORD index = 0;; ++index) {
    DWORD length = kKeyNameBytes;
    if (::RegEnumKeyExA(key.Get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return;
    }
    findings->emplace_back(name, length);
  }
}

void FindValue(const Criterion& criterion, Findings* findings) {
  const OpenedValue value = OpenKeyOfValue(criterion);
  if (!value.key) return;
  if (auto text = ReadValueText(value.key.Get(), value.name)) findings->push_back(*text);
}

bool KeyExists(const Criterion& criterion) {
  return static_cast<bool>(OpenKey(criterion.search, criterion.view64));
}

bool ValueExists(const Criterion& criterion) {
  const OpenedValue value = OpenKeyOfValue(criterion);
  return value.key && ::RegQueryValueExA(value.key.Get(), value.name.c_str(), nullptr, nullptr,
                                         nullptr, nullptr) == ERROR_SUCCESS;
}

bool ValueCompares(const Criterion& criterion, Findings* findings) {
  const OpenedValue value = OpenKeyOfValue(criterion);
  if (!value.key) return false;
  const auto text = ReadComparableValue(value.key.Get(), value.name);
  if (!text) return false;
  findings->push_back(*text);
  return Compares(*text, criterion.reference);
}

}  // namespace appsearch
