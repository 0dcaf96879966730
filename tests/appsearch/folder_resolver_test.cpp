#include "appsearch/folder_resolver.h"

#include <doctest.h>

#include <string>

#include "appsearch/installer_folders.h"
#include "support/data_rows.h"
#include "support/msi_session_rig.h"
#include "support/test_key.h"
#include "support/test_package.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/scope_exit.h"
#include "util/text.h"

using appsearch::FindInstallerFolder;
using appsearch::FolderResolver;

TEST_CASE("folder names stand for what the installer knows under them") {
  test::TestPackage package;
  test::MsiSessionRig rig(package);
  for (const test::DataRow& row : test::ReadDataRows("appsearch/folder_names.txt")) {
    const std::string name = row.Ansi(0);
    CAPTURE(name);
    const auto folder = FindInstallerFolder(name);
    // Windows 95/98/Me are 32-bit systems.
    const bool is_there = row[1] == L"always" || (row[1] == L"64-bit" && util::IsNtFamily());
    CHECK(folder.has_value() == is_there);
    if (!folder) continue;
    CHECK(folder->back() == L'\\');
    CHECK(util::PathExists(*folder));
    const std::wstring known = rig.Property(row[0]);
    // Some the installer does not know here. Wine's takes the 16-bit programs' system folder for
    // the 32-bit one's.
    if (name == "System16Folder" || known.empty()) continue;
    CHECK(::lstrcmpiW(folder->c_str(), known.c_str()) == 0);
  }
}

TEST_CASE("references are replaced, and what is none stays") {
  const test::TestKey key;
  key.SetText("dir", "D:\\from registry");
  key.SetText("nested", "[WindowsFolder]%windir%");
  key.SetText("", "default");
  key.SetText("long", std::string(500, 'y'));
  key.SetNumber("number", 42);
  ::SetEnvironmentVariableA("PREREQ_TEST", "from environment");
  ::SetEnvironmentVariableA("PREREQ_EMPTY", "");
  // A value of the root itself; what is below is the test's own key.
  ::RegSetValueExA(HKEY_CURRENT_USER, "prereq test", 0, REG_SZ,
                   reinterpret_cast<const BYTE*>("rooted"), 7);
  const util::ScopeExit remove([] { ::RegDeleteValueA(HKEY_CURRENT_USER, "prereq test"); });
  const auto fill_in = [&](std::string text) {
    for (const auto& [name, value] :
         {std::pair{std::string("{windows}"), util::ToAnsi(*FindInstallerFolder("WindowsFolder"))},
          std::pair{std::string("{key}"), key.path()},
          std::pair{std::string("{below}"), key.path().substr(4)}}) {
      const size_t at = text.find(name);
      if (at != text.npos) text.replace(at, name.size(), value);
    }
    return text;
  };

  const FolderResolver resolver(L"E:\\setup");
  std::string whole;
  std::string whole_resolved;
  for (const test::DataRow& row : test::ReadDataRows("appsearch/references.txt")) {
    CAPTURE(row.line);
    const bool ends = row[0] == L"end";
    const std::string text = fill_in(row.Ansi(ends ? 1 : 0));
    const std::string resolved = fill_in(row.Ansi(1));
    CHECK(resolver.Resolve(text) == resolved);
    // Behind all that resolved before it, too.
    CHECK(resolver.Resolve(whole + text) == whole_resolved + resolved);
    if (ends) continue;
    whole += text;
    whole_resolved += resolved;
  }
  CHECK(FolderResolver(L"").Resolve("[SETUPEXEDIR]x") == "[SETUPEXEDIR]x");
  CHECK(FolderResolver(L"E:\\").Resolve("[SETUPEXEDIR]x") == "E:\\x");
}
