#include "appsearch/registry_values.h"

#include <cstdint>
#include <cstring>

#include "util/ansi_text.h"
#include "util/registry.h"
#include "util/wow64.h"

namespace appsearch {
namespace {

constexpr DWORD kSmallBufferBytes = 200;

struct RawValue {
  LSTATUS error;
  DWORD type;
  DWORD size_bytes;  // Of the value, also when the buffer was too small for it.
};

RawValue Query(HKEY key, const std::string& name, std::string* buffer) {
  RawValue value = {ERROR_SUCCESS, REG_NONE, static_cast<DWORD>(buffer->size())};
  value.error = ::RegQueryValueExA(key, name.c_str(), nullptr, &value.type,
                                   reinterpret_cast<BYTE*>(buffer->data()), &value.size_bytes);
  return value;
}

// Values need not end in a zero, and may hold some.
std::string TextOf(std::string buffer, DWORD size_bytes) {
  if (size_bytes < buffer.size()) buffer.resize(size_bytes);
  buffer.resize(std::strlen(buffer.c_str()));
  return buffer;
}

// A number that is stored too short lacks its upper bytes.
std::string NumberOf(const std::string& buffer, DWORD size_bytes) {
  uint32_t number = 0;
  std::memcpy(&number, buffer.data(), size_bytes < sizeof(number) ? size_bytes : sizeof(number));
  return util::ToDecimalAnsi(number);
}

}  // namespace

HKEY ParseRoot(std::string_view name) {
  if (name == "HKLM") return HKEY_LOCAL_MACHINE;
  if (name == "HKCU") return HKEY_CURRENT_USER;
  if (name == "HKCR") return HKEY_CLASSES_ROOT;
  if (name == "HKCC") return HKEY_CURRENT_CONFIG;
  return HKEY_USERS;
}

util::UniqueRegistryKey OpenKey(const std::string& path, bool view64) {
  const size_t slash = util::FindMark(path, "\\");
  if (slash == util::kNoMark) return {};
  const REGSAM view = view64 && util::Is64BitSystem() ? KEY_WOW64_64KEY : 0;
  return util::OpenRegistryKey(ParseRoot(std::string_view(path).substr(0, slash)),
                               path.substr(slash + 1), KEY_READ | view);
}

std::optional<ValuePath> SplitValuePath(const std::string& path) {
  const size_t slash = util::FindLastMark(path, "\\");
  if (slash == util::kNoMark) return std::nullopt;
  return ValuePath{path.substr(0, slash), path.substr(slash + 1)};
}

std::optional<std::string> ReadComparableValue(HKEY key, const std::string& name) {
  std::string buffer(kSmallBufferBytes, '\0');
  for (;;) {
    const RawValue value = Query(key, name, &buffer);
    if (value.error == ERROR_MORE_DATA) {
      buffer.assign(value.size_bytes + 1, '\0');
    } else if (value.error != ERROR_SUCCESS) {
      return std::nullopt;
    } else if (value.type == REG_SZ) {
      return TextOf(buffer, value.size_bytes);
    } else if (value.type == REG_DWORD) {
      return NumberOf(buffer, value.size_bytes);
    }
    // Compatibility: a value of any other type is read again, without end.
  }
}

std::optional<std::string> ReadValueText(HKEY key, const std::string& name) {
  std::string buffer(kSmallBufferBytes, '\0');
  RawValue value = Query(key, name, &buffer);
  if (value.error == ERROR_MORE_DATA) {
    buffer.assign(value.size_bytes, '\0');
    value = Query(key, name, &buffer);
  }
  if (value.error != ERROR_SUCCESS) return std::nullopt;
  return value.type == REG_DWORD ? NumberOf(buffer, value.size_bytes)
                                 : TextOf(buffer, value.size_bytes);
}

}  // namespace appsearch
