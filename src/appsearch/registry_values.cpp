#include "appsearch/registry_values.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <utility>

#include "util/ansi_text.h"
#include "util/os_family.h"
#include "util/registry.h"
#include "util/text.h"
#include "util/wow64.h"

namespace appsearch {
namespace {

constexpr DWORD kSmallBufferBytes = 200;

struct RawValue {
  LSTATUS error;
  DWORD type;
  DWORD size_bytes;  // Of the value, also when the buffer was too small for it.
};

// Texts come as the registry of the family stores them: the ANSI call of Windows NT 4.0 to 11 would
// put characters that look like them in the place of those that it cannot say.
RawValue Query(HKEY key, const std::string& name, std::string* buffer) {
  RawValue value = {ERROR_INVALID_NAME, REG_NONE, static_cast<DWORD>(buffer->size())};
  auto* const bytes = reinterpret_cast<BYTE*>(buffer->data());
  if (!util::IsNtFamily()) {
    value.error =
        ::RegQueryValueExA(key, name.c_str(), nullptr, &value.type, bytes, &value.size_bytes);
    return value;
  }
  const std::wstring wide_name = util::ToWide(name);
  // No name at all would be that of the default value.
  if (wide_name.empty() == name.empty()) {
    value.error =
        ::RegQueryValueExW(key, wide_name.c_str(), nullptr, &value.type, bytes, &value.size_bytes);
  }
  return value;
}

// Values need not end in a zero, and may hold some.
std::string BytesOf(std::string buffer, DWORD size_bytes) {
  if (size_bytes < buffer.size()) buffer.resize(size_bytes);
  buffer.resize(std::strlen(buffer.c_str()));
  return buffer;
}

std::wstring TextOf(const std::string& buffer, DWORD size_bytes) {
  if (!util::IsNtFamily()) return util::ToWide(BytesOf(buffer, size_bytes));
  std::wstring text(std::min<size_t>(size_bytes, buffer.size()) / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), buffer.data(), text.size() * sizeof(wchar_t));
  text.resize(std::wcslen(text.c_str()));
  return text;
}

bool IsNumber(DWORD type) { return type == REG_DWORD || type == REG_QWORD; }
bool IsText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

// A number that is stored too short lacks its upper bytes.
uint64_t NumberOf(const std::string& buffer, const RawValue& value) {
  const size_t full = value.type == REG_QWORD ? sizeof(uint64_t) : sizeof(uint32_t);
  uint64_t number = 0;
  std::memcpy(&number, buffer.data(), std::min<size_t>(value.size_bytes, full));
  return number;
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
  const size_t slash = util::FindAnyOf(path, "\\");
  if (slash == util::kNoPosition) return {};
  const REGSAM view = view64 && util::Is64BitSystem() ? KEY_WOW64_64KEY : 0;
  return util::OpenRegistryKey(ParseRoot(std::string_view(path).substr(0, slash)),
                               path.substr(slash + 1), KEY_READ | view);
}

std::optional<ValuePath> SplitValuePath(const std::string& path) {
  const size_t slash = util::FindLastOf(path, "\\");
  if (slash == util::kNoPosition) return std::nullopt;
  return ValuePath{path.substr(0, slash), path.substr(slash + 1)};
}

std::optional<std::wstring> ReadComparableValue(HKEY key, const std::string& name) {
  std::string buffer(kSmallBufferBytes, '\0');
  for (;;) {
    const RawValue value = Query(key, name, &buffer);
    if (value.error == ERROR_MORE_DATA) {
      buffer.assign(value.size_bytes + 1, '\0');
    } else if (value.error != ERROR_SUCCESS) {
      return std::nullopt;
    } else if (value.type == REG_SZ) {
      return TextOf(buffer, value.size_bytes);
    } else if (IsNumber(value.type)) {
      return util::ToDecimal(NumberOf(buffer, value));
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
  if (IsNumber(value.type)) return util::ToDecimalAnsi(NumberOf(buffer, value));
  if (IsText(value.type) && util::IsNtFamily()) {
    return util::TryToAnsi(TextOf(buffer, value.size_bytes));
  }
  return BytesOf(std::move(buffer), value.size_bytes);
}

}  // namespace appsearch
