#include "appsearch/registry_values.h"

#include <doctest.h>

#include <optional>
#include <string>

#include "support/data_rows.h"
#include "support/test_key.h"
#include "support/worker.h"
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
  for (const test::DataRow& row : test::ReadDataRows("appsearch/key_paths.txt")) {
    CAPTURE(row.line);
    std::string path = row.Ansi(0);
    const size_t at = path.find("{below}");
    if (at != path.npos) path.replace(at, 7, key.path().substr(4));
    CHECK(static_cast<bool>(OpenKey(path, false)) == row.Yes(1));
    CHECK(static_cast<bool>(OpenKey(path, true)) == row.Yes(1));
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
  const auto both_read = [&](const std::optional<std::string>& text,
                             const std::string& name = "v") {
    const auto comparable = ReadComparableValue(opened.Get(), name);
    return comparable == (text ? std::optional(util::ToWide(*text)) : std::nullopt) &&
           ReadValueText(opened.Get(), name) == text;
  };
  // Below, at and above the first buffer, with and without the null at the end.
  for (const size_t length : {0u, 1u, 198u, 199u, 200u, 201u, 1000u, 70000u}) {
    CAPTURE(length);
    const std::string text(length, 'x');
    key.SetText("v", text);
    CHECK(both_read(text));
    key.Set("v", REG_SZ, text.data(), text.size());
    CHECK(both_read(text));
  }
  key.Set("v", REG_SZ, "one\0two", 8);
  CHECK(both_read("one"));
  for (const DWORD number : {0ul, 5ul, 2147483647ul, 2147483648ul, 4294967295ul}) {
    key.SetNumber("v", number);
    CHECK(both_read(std::to_string(number)));
  }
  key.Set("v", REG_DWORD, "\x05\x01\x07", 2);
  CHECK(both_read("261"));
  for (const uint64_t number : {uint64_t{0}, uint64_t{4294967296}, UINT64_MAX}) {
    key.Set("v", REG_QWORD, &number, sizeof(number));
    CHECK(both_read(std::to_string(number)));
  }
  key.SetText("", "default");
  CHECK(both_read("default", ""));
  CHECK(both_read(std::nullopt, "none"));

  key.SetText("v", "%windir%\\x", REG_EXPAND_SZ);
  CHECK(ReadValueText(opened.Get(), "v") == "%windir%\\x");
  key.Set("v", REG_MULTI_SZ, "one\0two\0", 9);
  CHECK(ReadValueText(opened.Get(), "v") == "one");
  key.Set("v", REG_BINARY, "ab", 2);
  CHECK(ReadValueText(opened.Get(), "v") == "ab");
}

TEST_CASE("a comparable value of another type is read until it is one") {
  const TestKey key;
  key.SetText("v", "expanded", REG_EXPAND_SZ);
  const util::UniqueRegistryKey opened = OpenKey(key.path(), false);
  std::optional<std::wstring> text;
  const util::UniqueKernelHandle read(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const test::Worker reader([&] {
    text = ReadComparableValue(opened.Get(), "v");
    ::SetEvent(read.Get());
  });
  CHECK(::WaitForSingleObject(read.Get(), 200) == WAIT_TIMEOUT);
  // Without a null at its end, so that what was read before must not show through.
  key.Set("v", REG_SZ, "plain", 5);
  CHECK(::WaitForSingleObject(read.Get(), 10000) == WAIT_OBJECT_0);
  reader.Join();
  CHECK(text == L"plain");
}
