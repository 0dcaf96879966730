#include <windows.h>

#include <doctest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "prereq/cleanup.h"
#include "support/msi_session_rig.h"
#include "support/temp_folder.h"
#include "support/test_package.h"
#include "util/scheduler.h"
#include "util/scope_exit.h"
#include "util/text.h"
#include "util/unique_handle.h"

using test::MsiSessionRig;
using test::TempFolder;
using test::TestPackage;

namespace {

using Names = std::vector<std::string>;

// Everything below the folder, a folder with a backslash at its end, sorted.
void List(const std::wstring& folder, const std::wstring& prefix, Names* names) {
  WIN32_FIND_DATAW found;
  const util::UniqueFind search(::FindFirstFileW((folder + L"\\*").c_str(), &found));
  if (!search) return;
  do {
    const std::wstring name = found.cFileName;
    if (name == L"." || name == L"..") continue;
    const bool is_folder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    names->push_back(util::ToAnsi(prefix + name + (is_folder ? L"\\" : L"")));
    if (is_folder) List(folder + L"\\" + name, prefix + name + L"\\", names);
  } while (::FindNextFileW(search.Get(), &found));
}

Names Tree(const TempFolder& root) {
  Names names;
  List(root.path(), L"", &names);
  std::sort(names.begin(), names.end());
  return names;
}

// A list as the phases write it; "{root}" stands for the test's folder.
std::wstring Joined(const std::vector<std::wstring>& entries, const TempFolder& root) {
  std::wstring list;
  for (size_t i = 0; i < entries.size(); ++i) {
    std::wstring entry = entries[i];
    const size_t mark = entry.find(L"{root}");
    if (mark != std::wstring::npos) entry.replace(mark, 6, root.path());
    list += (i == 0 ? L"" : L"\x01") + entry;
  }
  return list;
}

}  // namespace

TEST_CASE("what the clean-up deletes and what it leaves") {
  struct Row {
    std::string name;
    std::vector<std::wstring> tree;  // Files; a name with a backslash at its end is a folder.
    std::vector<std::wstring> files;
    std::vector<std::wstring> folders;
    Names left;
    const wchar_t* locked = nullptr;  // Is read-only while the clean-up runs.
  };
  const std::vector<Row> rows = {
      {"emptied folders up to the work folder",
       {L"WF\\sub\\a\\x.exe", L"WF\\y.exe", L"WF\\none\\"},
       {L"{root}\\WF\\sub\\a\\x.exe", L"{root}\\WF\\y.exe"},
       {L"{root}\\WF"},
       {"WF\\", "WF\\none\\"}},
      {"a foreign file ends the climb, the next entry goes on",
       {L"WF\\sub\\a\\x.exe", L"WF\\sub\\user.txt", L"WF\\b\\y.exe"},
       {L"{root}\\WF\\sub\\a\\x.exe", L"{root}\\WF\\b\\y.exe"},
       {L"{root}\\WF"},
       {"WF\\", "WF\\sub\\", "WF\\sub\\user.txt"}},
      {"outside every work folder",
       {L"WF\\", L"other\\x.exe"},
       {L"{root}\\other\\x.exe"},
       {L"{root}\\WF"},
       {"WF\\", "other\\", "other\\x.exe"}},
      {"read-only file",
       {L"WF\\sub\\x.exe", L"WF\\sub\\y.exe"},
       {L"{root}\\WF\\sub\\x.exe", L"{root}\\WF\\sub\\y.exe"},
       {L"{root}\\WF"},
       {"WF\\", "WF\\sub\\", "WF\\sub\\x.exe"},
       L"WF\\sub\\x.exe"},
      {"a work folder in other letters goes too, its parent does not",
       {L"WF\\sub\\x.exe"},
       {L"{root}\\WF\\sub\\x.exe"},
       {L"{root}\\wf"},
       {}},
      {"a file in other letters",
       {L"WF\\X.exe"},
       {L"{root}\\WF\\x.EXE"},
       {L"{root}\\WF"},
       {"WF\\"}},
      {"a neighbour with the work folder's name as its beginning",
       {L"WF\\", L"WF2\\x.exe"},
       {L"{root}\\WF2\\x.exe"},
       {L"{root}\\WF"},
       {"WF\\"}},
      {"the first work folder that fits counts",
       {L"A\\B\\x.exe", L"C\\D\\x.exe"},
       {L"{root}\\A\\B\\x.exe", L"{root}\\C\\D\\x.exe"},
       {L"{root}\\A", L"{root}\\A\\B", L"{root}\\C\\D", L"{root}\\C"},
       {"A\\", "C\\", "C\\D\\"}},
      {"a work folder with a backslash at its end",
       {L"WF\\sub\\x.exe"},
       {L"{root}\\WF\\sub\\x.exe"},
       {L"{root}\\WF\\"},
       {"WF\\"}},
      {"slashes", {L"WF\\sub\\x.exe"}, {L"{root}\\WF/sub/x.exe"}, {L"{root}\\WF"}, {"WF\\"}},
      {"empty, absent, repeated and relative entries, a folder, an absent work folder",
       {L"WF\\x.exe", L"WF\\sub\\"},
       {L"", L"{root}\\WF\\sub\\no.exe", L"x.exe", L"{root}\\WF\\sub", L"{root}\\WF\\x.exe",
        L"{root}\\WF\\x.exe", L""},
       {L"", L"{root}\\absent", L"{root}\\WF", L""},
       {"WF\\", "WF\\sub\\"}},
      {"what a broken transfer left",
       {L"WF\\sub\\x.exe.part", L"WF\\y.exe.part"},
       {L"{root}\\WF\\sub\\x.exe"},
       {L"{root}\\WF"},
       {"WF\\", "WF\\y.exe.part"}},
      {"a path out of the work folder",
       {L"WF\\", L"x.exe", L"WF\\a..b\\..y.exe"},
       {L"{root}\\WF\\..\\x.exe", L"{root}\\WF\\a..b\\..y.exe"},
       {L"{root}\\WF"},
       {"WF\\", "x.exe"}},
      {"no work folders", {L"WF\\x.exe"}, {L"{root}\\WF\\x.exe"}, {}, {"WF\\", "WF\\x.exe"}},
      {"only an empty work folder",
       {L"WF\\x.exe"},
       {L"{root}\\WF\\x.exe"},
       {L"", L""},
       {"WF\\", "WF\\x.exe"}},
      {"no files", {L"WF\\x.exe"}, {}, {L"{root}\\WF"}, {"WF\\", "WF\\x.exe"}},
  };
  TestPackage package;
  package.Close();
  MsiSessionRig rig(package);
  for (const Row& row : rows) {
    CAPTURE(row.name);
    const TempFolder root;
    for (const std::wstring& name : row.tree) {
      if (name.back() == L'\\') {
        root.MakeFolder(name.substr(0, name.size() - 1));
      } else {
        root.Write(name, "x");
      }
    }
    if (row.locked != nullptr) {
      REQUIRE(::SetFileAttributesW((root / row.locked).c_str(), FILE_ATTRIBUTE_READONLY));
    }
    const std::wstring files = Joined(row.files, root);
    const std::wstring folders = Joined(row.folders, root);
    rig.SetProperty(L"QX_PREREQFILES", files);
    rig.SetProperty(L"QX_PREREQDIRS", folders);
    CHECK(rig.Call("CleanPrereq") == ERROR_SUCCESS);
    CHECK(Tree(root) == row.left);
    CHECK(rig.Property(L"QX_PREREQFILES") == files);
    CHECK(rig.Property(L"QX_PREREQDIRS") == folders);
  }
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("ten thousand recorded files and their folders are deleted") {
  const TempFolder root;
  std::vector<std::wstring> files;
  for (int i = 0; i < 10000; ++i) {
    const std::wstring name = L"WF\\" + util::ToSignedDecimal(i / 500) + L"\\payload " +
                              util::ToSignedDecimal(i % 500) + L".bin";
    root.Write(name, "");
    files.push_back(L"{root}\\" + name);
  }
  TestPackage package;
  package.Close();
  MsiSessionRig rig(package);
  rig.SetProperty(L"QX_PREREQFILES", Joined(files, root));
  rig.SetProperty(L"QX_PREREQDIRS", root / L"WF");
  CHECK(rig.Call("CleanPrereq") == ERROR_SUCCESS);
  CHECK(Tree(root) == Names{"WF\\"});
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("the clean-up takes the resume job of its product back") {
  TestPackage package;
  package.Close();
  SYSTEMTIME now = {};
  ::GetSystemTime(&now);
  const util::ScheduledJob job = {
      .name = package.product_code(), .program = L"C:\\x.exe", .arguments = L"", .start = now};
  REQUIRE(util::CreateScheduledJob(job));
  MsiSessionRig rig(package);
  CHECK(rig.Call("CleanPrereq") == ERROR_SUCCESS);
  CHECK_FALSE(util::DeleteScheduledJob(package.product_code()));
  CHECK(rig.CountLeakedHandles() == 0);
  // Nothing to work with is no reason to fail an installation either.
  CHECK(test::CallExport("CleanPrereq", 0) == ERROR_SUCCESS);
}

TEST_CASE("a folder is a prefix by its text, A to Z folded on request") {
  struct Row {
    const wchar_t* path;
    const wchar_t* folder;
    bool sensitive;
    bool insensitive;
  };
  for (const Row& row :
       {Row{L"C:\\WF\\x", L"C:\\WF", true, true}, Row{L"C:\\WF\\x", L"c:\\wf", false, true},
        Row{L"C:\\WF", L"C:\\WF", true, true}, Row{L"C:\\W", L"C:\\WF", false, false},
        Row{L"C:\\WF", L"", false, false}, Row{L"", L"", false, false},
        // Neither letters outside A to Z nor the signs beside them are folded.
        Row{L"C:\\\u00c4", L"C:\\\u00e4", false, false}, Row{L"C:\\[@", L"C:\\{`", false, false},
        Row{L"C:\\AZ", L"C:\\az", false, true}}) {
    CAPTURE(util::ToAnsi(row.path));
    CAPTURE(util::ToAnsi(row.folder));
    CHECK(prereq::HasFolderPrefix(row.path, row.folder, true) == row.sensitive);
    CHECK(prereq::HasFolderPrefix(row.path, row.folder, false) == row.insensitive);
  }
}
