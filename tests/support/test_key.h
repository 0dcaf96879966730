#ifndef TESTS_SUPPORT_TEST_KEY_H_
#define TESTS_SUPPORT_TEST_KEY_H_

#include <windows.h>

#include <doctest.h>

#include <string>

#include "util/text.h"
#include "util/unique_handle.h"

namespace test {

// A registry key of the test's own, removed with all below it. In HKEY_CURRENT_USER, whose views
// are one, or in either view of HKEY_LOCAL_MACHINE.
class TestKey {
 public:
  explicit TestKey(HKEY root = HKEY_CURRENT_USER, REGSAM view = 0) : root_(root), view_(view) {
    Remove();  // A run that was cut short leaves its key behind.
    (void)Make("");
  }
  TestKey(const TestKey&) = delete;
  TestKey& operator=(const TestKey&) = delete;
  ~TestKey() { Remove(); }

  // As package authors write it, without a backslash at its end.
  [[nodiscard]] std::string path() const {
    return (root_ == HKEY_CURRENT_USER ? "HKCU\\" : "HKLM\\") + key_;
  }
  [[nodiscard]] std::wstring wide_path() const { return util::ToWide(path()); }

  [[nodiscard]] util::UniqueRegistryKey Make(const std::string& subkey) const {
    util::UniqueRegistryKey key;
    REQUIRE(::RegCreateKeyExA(root_, (key_ + subkey).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view_,
                              nullptr, key.Receive(), nullptr) == ERROR_SUCCESS);
    return key;
  }
  void Set(const std::string& name, DWORD type, const void* data, size_t size) const {
    REQUIRE(::RegSetValueExA(Make("").Get(), name.c_str(), 0, type, static_cast<const BYTE*>(data),
                             static_cast<DWORD>(size)) == ERROR_SUCCESS);
  }
  void SetText(const std::string& name, const std::string& text, DWORD type = REG_SZ) const {
    Set(name, type, text.c_str(), text.size() + 1);
  }
  void SetNumber(const std::string& name, DWORD number) const {
    Set(name, REG_DWORD, &number, sizeof(number));
  }

 private:
  void Remove() const {
    util::UniqueRegistryKey key;
    if (::RegOpenKeyExA(root_, key_.c_str(), 0, KEY_ALL_ACCESS | view_, key.Receive()) == 0) {
      wchar_t name[256];
      while (::RegEnumKeyW(key.Get(), 0, name, 256) == ERROR_SUCCESS) {
        REQUIRE(::RegDeleteKeyW(key.Get(), name) == ERROR_SUCCESS);
      }
    }
    util::UniqueRegistryKey software;
    if (::RegOpenKeyExA(root_, "Software", 0, KEY_ALL_ACCESS | view_, software.Receive()) == 0) {
      ::RegDeleteKeyA(software.Get(), key_.c_str() + sizeof("Software"));
    }
  }

  HKEY root_;
  REGSAM view_;
  std::string key_ = "Software\\prereq search test " + std::to_string(::GetCurrentProcessId());
};

}  // namespace test

#endif  // TESTS_SUPPORT_TEST_KEY_H_
