#include <doctest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "entry/scenario.h"
#include "support/installed_product.h"
#include "support/redirected_temp.h"
#include "support/setup_program.h"
#include "support/test_key.h"
#include "support/versioned_file.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/scope_exit.h"
#include "util/wow64.h"

using test::TestKey;
using test::TestPackage;

namespace {

// A product with one component.
struct Product {
  Product(const std::wstring& version, const std::wstring& upgrade, const std::wstring& component) {
    package.Execute(L"UPDATE `Property` SET `Value`='" + version +
                    L"' WHERE `Property`='ProductVersion'");
    package.AddProperty(L"UpgradeCode", upgrade);
    package.AddComponent(L"Wanted", component, L"Main");
    package.Close();
    installed.emplace(package);
  }
  TestPackage package;
  std::optional<test::InstalledProduct> installed;
};

}  // namespace

TEST_CASE("searches of the registry") {
  const TestKey key;
  for (const char* name : {"\\1.4", "\\2.6", "\\10.1"}) (void)key.Make(name);
  key.SetText("Version", "3.5.30729.1");
  key.SetText("Other", "2.0");
  key.SetText("Name", "Some program");
  key.SetText("Empty", "");
  key.SetNumber("Release", 4294967295u);
  test::RunScenarios("entry/search_registry.txt", {{L"key", key.wide_path()}});
}

TEST_CASE("searches in both views of registry and files") {
  if (!util::IsNtFamily()) return;  // One view only.
  const TestKey key32(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY);
  const TestKey key64(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY);
  (void)key32.Make("\\1.32");
  (void)key64.Make("\\1.64");
  key32.SetText("32", "1.32");
  key64.SetText("64", "1.64");
  const std::wstring file =
      L"C:\\windows\\system32\\prereq" + std::to_wstring(::GetCurrentProcessId()) + L".txt";
  {
    const util::FileRedirectionOff off;
    REQUIRE(util::CreateForWriting(file));
  }
  const util::ScopeExit remove([&] {
    const util::FileRedirectionOff off;
    CHECK(util::RemoveFile(file));
  });
  test::RunScenarios("entry/search_views.txt", {{L"key", key32.wide_path()}, {L"file", file}});
}

TEST_CASE("searches of files") {
  const test::TempFolder folder;
  folder.Write(L"a.exe", test::VersionedContent(1, 2, 3, 4));
  folder.Write(L"b\\a.exe", test::VersionedContent(2, 0, 0, 0));
  folder.Write(L"plain.txt", "text");
  test::RunScenarios("entry/search_files.txt", {{L"tree", folder.path()}});
}

TEST_CASE("searches of products and components") {
  test::Words words = {
      {L"upgrade", test::NewGuid()}, {L"component", test::NewGuid()}, {L"none", test::NewGuid()}};
  {
    const Product older(L"1.2.3", words[L"upgrade"], words[L"component"]);
    const Product newer(L"2.10.0", words[L"upgrade"], test::NewGuid());
    words[L"older"] = older.package.product_code();
    words[L"newer"] = newer.package.product_code();
    // The installer tells the related products in an order of its own.
    wchar_t first[39];
    REQUIRE(::MsiEnumRelatedProductsW(words[L"upgrade"].c_str(), 0, 0, first) == ERROR_SUCCESS);
    words[L"both"] = first == words[L"older"] ? L"1.2.3, 2.10.0" : L"2.10.0, 1.2.3";
    test::RunScenarios("entry/search_products.txt", words);
  }
  test::RunScenarios("entry/search_removed.txt", words);
}

TEST_CASE("programs of the package run as told and leave nothing behind") {
  const test::RedirectedTemp temp;
  const test::TempFolder folder;
  ::SetEnvironmentVariableA("PREREQ_WORD", "from environment");
  test::RunScenarios("entry/search_programs.txt",
                     {{L"echo", test::ProgramFolder() + L"\\echo_program.exe"},
                      {L"text", folder.Write(L"text", "no program")}});
  std::vector<std::wstring> runs;
  for (const std::wstring& path : temp.Files()) {
    if (path.find(L"\\ACS") == path.npos) continue;
    CHECK_FALSE(path.ends_with(L".exe"));
    for (const test::SetupRun& run : test::ReadRuns(path)) {
      runs.push_back(run.arguments + (run.hidden ? L"|hidden" : L"|shown"));
    }
  }
  std::ranges::sort(runs);
  CHECK(runs == std::vector<std::wstring>{L"exit=0 1 from environment|shown",
                                          L"exit=0 2 %PREREQ_NONE%|hidden", L"exit=0 3|hidden",
                                          L"exit=0 4|shown", L"exit=1 5|shown",
                                          L"exit=4294967295 6|shown", L"|shown"});
}
