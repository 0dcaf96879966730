#include "util/registry.h"

#include "util/os_family.h"
#include "util/text.h"

namespace util {
namespace {

// The registry counts bytes and wants the terminator stored with the text.
template <typename Text>
DWORD StoredBytes(const Text& text) {
  const size_t bytes = (text.size() + 1) * sizeof(typename Text::value_type);
  return static_cast<DWORD>(bytes);
}

// `call` is LONG(HKEY* key).
template <typename Call>
UniqueRegistryKey Receive(Call call) {
  UniqueRegistryKey key;
  // Nothing is open after a failure, whatever the slot holds.
  if (call(key.Receive()) != ERROR_SUCCESS) (void)key.Release();
  return key;
}

}  // namespace

UniqueRegistryKey OpenRegistryKey(HKEY root, const std::wstring& path, REGSAM access) {
  if (!IsNtFamily()) return OpenRegistryKey(root, ToAnsi(path), access);
  return Receive([&](HKEY* key) { return ::RegOpenKeyExW(root, path.c_str(), 0, access, key); });
}

UniqueRegistryKey OpenRegistryKey(HKEY root, const std::string& path, REGSAM access) {
  return Receive([&](HKEY* key) { return ::RegOpenKeyExA(root, path.c_str(), 0, access, key); });
}

UniqueRegistryKey CreateRegistryKey(HKEY root, const std::wstring& path, REGSAM access) {
  return Receive([&](HKEY* key) {
    return IsNtFamily() ? ::RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                            access, nullptr, key, nullptr)
                        : ::RegCreateKeyExA(root, ToAnsi(path).c_str(), 0, nullptr,
                                            REG_OPTION_NON_VOLATILE, access, nullptr, key, nullptr);
  });
}

bool WriteRegistryText(HKEY key, const std::wstring& name, const std::wstring& text) {
  if (IsNtFamily()) {
    return ::RegSetValueExW(key, name.c_str(), 0, REG_SZ,
                            reinterpret_cast<const BYTE*>(text.c_str()),
                            StoredBytes(text)) == ERROR_SUCCESS;
  }
  const std::string ansi = ToAnsi(text);
  return ::RegSetValueExA(key, ToAnsi(name).c_str(), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(ansi.c_str()),
                          StoredBytes(ansi)) == ERROR_SUCCESS;
}

bool RemoveRegistryValue(HKEY key, const std::wstring& name) {
  return (IsNtFamily() ? ::RegDeleteValueW(key, name.c_str())
                       : ::RegDeleteValueA(key, ToAnsi(name).c_str())) == ERROR_SUCCESS;
}

}  // namespace util
