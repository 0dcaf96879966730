#include "appsearch/registry_search.h"

#include <windows.h>

#include <optional>
#include <utility>

#include "appsearch/registry_values.h"
#include "appsearch/value_comparison.h"
#include "util/os_family.h"
#include "util/text.h"

namespace appsearch {
namespace {

// A key's name has at most 255 characters, each at most two bytes, and one for the end.
constexpr DWORD kKeyNameLength = 512;

struct OpenedValue {
  util::UniqueRegistryKey key;  // Empty when it does not open.
  std::string name;
};

OpenedValue OpenKeyOfValue(const Criterion& criterion) {
  std::optional<ValuePath> path = SplitValuePath(criterion.search);
  if (!path) return {};
  return {OpenKey(path->key, criterion.view64), std::move(path->name)};
}

// Nothing at the end, and an empty name for one that the code page cannot say.
std::optional<std::string> ReadSubkeyName(HKEY key, DWORD index) {
  DWORD length = kKeyNameLength;
  if (util::IsNtFamily()) {
    wchar_t name[kKeyNameLength];
    if (::RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return std::nullopt;
    }
    return util::TryToAnsi({name, length}).value_or("");
  }
  char name[kKeyNameLength];
  if (::RegEnumKeyExA(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) !=
      ERROR_SUCCESS) {
    return std::nullopt;
  }
  return std::string(name, length);
}

}  // namespace

void FindSubkeys(const Criterion& criterion, Findings* findings) {
  const util::UniqueRegistryKey key = OpenKey(criterion.search, criterion.view64);
  if (!key) return;
  for (DWORD index = 0; std::optional<std::string> name = ReadSubkeyName(key.Get(), index);
       ++index) {
    if (!name->empty()) findings->push_back(std::move(*name));
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
  const auto wide_text = ReadComparableValue(value.key.Get(), value.name);
  const auto text = wide_text ? util::TryToAnsi(*wide_text) : std::nullopt;
  if (!text) return false;
  findings->push_back(*text);
  return Compares(*text, criterion.reference);
}

}  // namespace appsearch
