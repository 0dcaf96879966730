#include "appsearch/registry_values.h"

#include <doctest.h>

#include <optional>
#include <string>

#include "support/test_key.h"
#include "util/os_family.h"
#include "util/unique_handle.h"
#include "util/wow64.h"

using appsearch::OpenKey;
using appsearch::ReadComparableValue;
using appsearch::ReadValueText;
using test::TestKey;

TEST_CASE("a path opens the key it names") {
  const TestKey key;
  (void)key.Make("\\sub");
  const std::string below = key.path().substr(4);
  struct Case {
    std::string path;
    bool opens;
  };
  const Case cases[] = {
      {"HKCU" + below, true},
      {"HKCU" + below + "\\sub", true},
      {"HKCU" + below + "\\none", false},
      {"HKLM" + below, false},
      {"hkcu" + below, false},  // Taken for HKEY_USERS, as every other name.
      {"HKLM\\Software", true},
      {"HKCR\\CLSID", true},
      {"HKCC\\Software", true},
      {"\\.Default", true},
      {"HKEY_LOCAL_MACHINE\\.Default", true},
      {"HKLM\\", true},
      {"HKLM", false},
      {"", false},
  };
  for (const Case& c : cases) {
    CAPTURE(c.path);
    CHECK(static_cast<bool>(OpenKey(c.path, false)) == c.opens);
    CHECK(static_cast<bool>(OpenKey(c.path, true)) == c.opens);
  }
}

TEST_CASE("each view of the registry has its own keys") {
  REQUIRE(util::Is64BitSystem() == util::IsNtFamily());
  if (!util::IsNtFamily()) return;  // One view only.
  const auto value = [](const TestKey& key, bool view64) {
    const util::UniqueRegistryKey opened = OpenKey(key.path(), view64);
    return opened ? ReadValueText(opened.Get(), "v") : std::nullopt;
  };
  const TestKey narrow(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY);
  narrow.SetText("v", "32");
  CHECK(value(narrow, false) == "32");
  CHECK(value(narrow, true) == std::nullopt);
  const TestKey wide(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY);
  wide.SetText("v", "64");
  CHECK(value(wide, false) == "32");
  CHECK(value(wide, true) == "64");
}

TEST_CASE("values of every size and type read as text") {
  const TestKey key;
  const util::UniqueRegistryKey opened = OpenKey(key.path(), false);
  REQUIRE(opened);
  // Below, at and above the first buffer, with and without the zero at the end.
  for (const size_t length : {0u, 1u, 198u, 199u, 200u, 201u, 1000u, 70000u}) {
    CAPTURE(length);
    const std::string text(length, 'x');
    key.SetText("v", text);
    CHECK((ReadComparableValue(opened.Get(), "v") == text));
    CHECK((ReadValueText(opened.Get(), "v") == text));
    key.Set("v", REG_SZ, text.data(), text.size());
    CHECK((ReadComparableValue(opened.Get(), "v") == text));
    CHECK((ReadValueText(opened.Get(), "v") == text));
  }
  key.Set("v", REG_SZ, "one\0two", 8);
  CHECK(ReadComparableValue(opened.Get(), "v") == "one");
  CHECK(ReadValueText(opened.Get(), "v") == "one");
  for (const DWORD number : {0ul, 5ul, 2147483647ul, 2147483648ul, 4294967295ul}) {
    key.SetNumber("v", number);
    CHECK(ReadComparableValue(opened.Get(), "v") == std::to_string(number));
    CHECK(ReadValueText(opened.Get(), "v") == std::to_string(number));
  }
  key.Set("v", REG_DWORD, "\x05\x01\x07", 2);
  CHECK(ReadComparableValue(opened.Get(), "v") == "261");
  CHECK(ReadValueText(opened.Get(), "v") == "261");
  key.SetText("", "default");
  CHECK(ReadComparableValue(opened.Get(), "") == "default");
  CHECK(ReadComparableValue(opened.Get(), "none") == std::nullopt);
  CHECK(ReadValueText(opened.Get(), "none") == std::nullopt);

  key.SetText("v", "%windir%\\x", REG_EXPAND_SZ);
  CHECK(ReadValueText(opened.Get(), "v") == "%windir%\\x");
  key.Set("v", REG_MULTI_SZ, "one\0two\0", 9);
  CHECK(ReadValueText(opened.Get(), "v") == "one");
  key.Set("v", REG_BINARY, "ab", 2);
  CHECK(ReadValueText(opened.Get(), "v") == "ab");
}

namespace {

struct Reader {
  HKEY key;
  std::optional<std::string> text;
};

DWORD WINAPI ReadOnThread(void* context) {
  auto* const reader = static_cast<Reader*>(context);
  reader->text = ReadComparableValue(reader->key, "v");
  return 0;
}

}  // namespace

TEST_CASE("a comparable value of another type is read until it is one") {
  const TestKey key;
  key.SetText("v", "expanded", REG_EXPAND_SZ);
  const util::UniqueRegistryKey opened = OpenKey(key.path(), false);
  Reader reader = {opened.Get(), std::nullopt};
  const util::UniqueKernelHandle thread(
      ::CreateThread(nullptr, 0, &ReadOnThread, &reader, 0, nullptr));
  CHECK(::WaitForSingleObject(thread.Get(), 200) == WAIT_TIMEOUT);
  // Without a zero at its end, so that what was read before must not show through.
  key.Set("v", REG_SZ, "plain", 5);
  REQUIRE(::WaitForSingleObject(thread.Get(), 10000) == WAIT_OBJECT_0);
  CHECK(reader.text == "plain");
}
