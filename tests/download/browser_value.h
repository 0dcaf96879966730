#ifndef TESTS_DOWNLOAD_BROWSER_VALUE_H_
#define TESTS_DOWNLOAD_BROWSER_VALUE_H_

#include <windows.h>

#include <doctest.h>

#include <string>

namespace test {

// A value of the browser's registry key, taken away for a while.
struct BrowserValue {
  explicit BrowserValue(const char* value_name) : name(value_name) {
    REQUIRE(::RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Microsoft\\Internet Explorer", 0,
                            KEY_ALL_ACCESS, &key) == ERROR_SUCCESS);
    DWORD size = sizeof(old);
    had = ::RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(old), &size) ==
          ERROR_SUCCESS;
    ::RegDeleteValueA(key, name);
  }
  ~BrowserValue() {
    ::RegDeleteValueA(key, name);
    if (had) Set(old);
    ::RegCloseKey(key);
  }
  void Set(const char* text) const {
    ::RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                     static_cast<DWORD>(std::string(text).size() + 1));
  }
  const char* name;
  HKEY key = nullptr;
  char old[100] = "";
  bool had = false;
};

}  // namespace test

#endif  // TESTS_DOWNLOAD_BROWSER_VALUE_H_
