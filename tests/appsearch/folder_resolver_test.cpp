#include "appsearch/folder_resolver.h"

#include <doctest.h>

#include <random>
#include <string>
#include <vector>

#include "appsearch/installer_folders.h"
#include "support/msi_session_rig.h"
#include "support/test_key.h"
#include "support/test_package.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/scope_exit.h"
#include "util/text.h"

using appsearch::FindInstallerFolder;
using appsearch::FolderResolver;
using test::TestKey;

TEST_CASE("folder names stand for what the installer knows under them") {
  // Those with a value in every session; on this system the installer has no folder for some.
  const char* const names[] = {
      "AdminToolsFolder",   "AppDataFolder",        "CommonAppDataFolder", "CommonFiles64Folder",
      "CommonFilesFolder",  "DesktopFolder",        "FavoritesFolder",     "FontsFolder",
      "LocalAppDataFolder", "MyPicturesFolder",     "NetHoodFolder",       "PersonalFolder",
      "PrintHoodFolder",    "ProgramFiles64Folder", "ProgramFilesFolder",  "ProgramMenuFolder",
      "RecentFolder",       "SendToFolder",         "StartMenuFolder",     "StartupFolder",
      "System16Folder",     "System64Folder",       "SystemFolder",        "TempFolder",
      "TemplateFolder",     "WindowsFolder",        "WindowsVolume",
  };
  test::TestPackage package;
  test::MsiSessionRig rig(package);
  for (const std::string name : names) {
    CAPTURE(name);
    const auto folder = FindInstallerFolder(name);
    // Systems of the older family are 32-bit ones.
    if (!util::IsNtFamily() && name.find("64") != name.npos) {
      CHECK_FALSE(folder);
      continue;
    }
    REQUIRE(folder);
    CHECK(folder->back() == '\\');
    CHECK(util::PathExists(util::ToWide(*folder)));
    const std::string known = util::ToAnsi(rig.Property(util::ToWide(name)));
    CAPTURE(known);
    // Wine's installer takes the 16-bit programs' system folder for the 32-bit one's.
    if (name == "System16Folder" || known.empty()) continue;
    CHECK(::lstrcmpiA(folder->c_str(), known.c_str()) == 0);
  }
  for (const std::string name : {"", "systemfolder", "SystemFolder ", "TARGETDIR", "SETUPEXEDIR"}) {
    CAPTURE(name);
    CHECK_FALSE(FindInstallerFolder(name));
  }
}

namespace {

struct Piece {
  std::string text;
  std::string resolved;
};

}  // namespace

TEST_CASE("references are replaced, and what is none stays") {
  const TestKey key;
  key.SetText("dir", "D:\\from registry");
  key.SetText("nested", "[WindowsFolder]%windir%");
  key.SetText("", "default");
  key.SetText("long", std::string(500, 'y'));
  key.SetNumber("number", 42);
  ::SetEnvironmentVariableA("PREREQ_TEST", "from environment");
  ::SetEnvironmentVariableA("PREREQ_EMPTY", "");
  // A value of the root itself; what is below is the test's own key.
  const std::string at_root = "prereq test " + std::to_string(::GetCurrentProcessId());
  ::RegSetValueExA(HKEY_CURRENT_USER, at_root.c_str(), 0, REG_SZ,
                   reinterpret_cast<const BYTE*>("rooted"), 7);
  const util::ScopeExit remove([&] { ::RegDeleteValueA(HKEY_CURRENT_USER, at_root.c_str()); });
  const std::string windows = *FindInstallerFolder("WindowsFolder");
  const std::string path = key.path();
  const FolderResolver resolver("E:\\setup");

  // Each resolves by itself, wherever it stands.
  const Piece pieces[] = {
      {"", ""},
      {"C:\\plain text.exe", "C:\\plain text.exe"},
      {"]", "]"},
      {"[WindowsFolder]", windows},
      {"[SETUPEXEDIR]", "E:\\setup\\"},
      {"[]", "[]"},
      {"[Nowhere]", "[Nowhere]"},
      {"[[WindowsFolder]", "[[WindowsFolder]"},
      {"%PREREQ_TEST%", "from environment"},
      {"%PREREQ_EMPTY%", ""},
      {"%PREREQ_NONE%", "%PREREQ_NONE%"},
      {"%%", "%%"},
      {"!" + path + "\\dir!", "D:\\from registry"},
      {"!" + path + "\\number!", "42"},
      {"!" + path + "\\long!", std::string(500, 'y')},
      {"!" + path + "\\!", "default"},
      {"!" + path + "\\nested!", "[WindowsFolder]%windir%"},
      {"!" + path + "\\none!", ""},
      {"!" + path + "\\none\\dir!", ""},
      {"!HKLM" + path.substr(4) + "\\dir!", ""},
      {"!HKCU\\" + at_root + "!", "rooted"},
      {"!HKLM\\none!", ""},
      {"!HKLM!", ""},
      {"!!!", ""},  // The name is the mark itself.
      {"!![!", ""},
  };
  for (const Piece& piece : pieces) {
    CAPTURE(piece.text);
    CHECK(resolver.Resolve(piece.text) == piece.resolved);
  }
  // Without an end there is no reference, nor any after it.
  for (const std::string& tail : {std::string("[x%PREREQ_TEST%!"), std::string("%[WindowsFolder]"),
                                  std::string("!!"), std::string("!")}) {
    CAPTURE(tail);
    CHECK(resolver.Resolve(tail) == tail);
  }

  std::mt19937 random(5);
  for (int round = 0; round < 500; ++round) {
    Piece whole;
    for (size_t count = random() % 6; count > 0; --count) {
      const Piece& piece = pieces[random() % std::size(pieces)];
      whole.text += piece.text;
      whole.resolved += piece.resolved;
    }
    if (random() % 4 == 0) {
      whole.text += "%[WindowsFolder]";
      whole.resolved += "%[WindowsFolder]";
    }
    if (resolver.Resolve(whole.text) == whole.resolved) continue;
    CAPTURE(whole.text);
    CHECK(resolver.Resolve(whole.text) == whole.resolved);
  }
  // Any bytes at all end, and those without a pair of marks stay as they are.
  for (int round = 0; round < 2000; ++round) {
    const std::string letters = "[%!]\\a\x95\xFF";
    std::string text(random() % 16, ' ');
    for (char& letter : text) letter = letters[random() % letters.size()];
    const std::string resolved = resolver.Resolve(text);
    if (text.find_first_of("!") != text.npos || resolved == text) continue;
    CAPTURE(text);
    CHECK(resolved == text);
  }
  CHECK(FolderResolver("").Resolve("[SETUPEXEDIR]x") == "[SETUPEXEDIR]x");
  CHECK(FolderResolver("E:\\").Resolve("[SETUPEXEDIR]x") == "E:\\x");
}
