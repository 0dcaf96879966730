#include "appsearch/file_search.h"

#include <windows.h>

#include <doctest.h>

#include <string>
#include <vector>

#include "support/data_rows.h"
#include "support/temp_folder.h"
#include "support/versioned_file.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/text.h"
#include "util/wow64.h"

using appsearch::Findings;
using test::TempFolder;
using test::VersionedContent;

namespace {

// Versions in the order they came up, joined by blanks; "none" when nothing was found.
std::string Find(const std::string& search, const std::string& lowest = "",
                 const std::string& highest = "", bool view64 = false) {
  Findings findings;
  appsearch::FindFiles({.search = search, .view64 = view64},
                       appsearch::VersionBounds(lowest, highest), appsearch::FolderResolver(L""),
                       &findings);
  std::string result;
  for (const std::string& version : findings) result += (result.empty() ? "" : " ") + version;
  return findings.empty() ? "none" : result;
}

// Files of a test at the root of the system drive and in folders there, all of its own names.
class AtRoot {
 public:
  AtRoot() = default;
  AtRoot(const AtRoot&) = delete;
  AtRoot& operator=(const AtRoot&) = delete;
  ~AtRoot() {
    for (const std::string& path : made_) {
      if (!::DeleteFileA(path.c_str())) ::RemoveDirectoryA(path.c_str());
    }
  }

  void Write(const std::string& path, const std::string& content) {
    const size_t slash = path.rfind('\\');
    if (slash > 2 && ::CreateDirectoryA(path.substr(0, slash).c_str(), nullptr)) {
      made_.insert(made_.begin(), path.substr(0, slash));
    }
    made_.insert(made_.begin(), path);
    const util::UniqueFile file(util::CreateForWriting(util::ToWide(path)));
    DWORD written = 0;
    REQUIRE(::WriteFile(file.Get(), content.data(), static_cast<DWORD>(content.size()), &written,
                        nullptr));
  }

 private:
  std::vector<std::string> made_;  // The last first.
};

}  // namespace

TEST_CASE("a file is searched in its folder and in those below, as deep as asked") {
  const TempFolder folder;
  for (const test::DataRow& row : test::ReadDataRows("appsearch/file_tree.txt")) {
    const auto parts = util::Split(row[2], L' ');
    const auto part = [&](size_t i) { return util::ParseDecimal<int>(parts[i]); };
    if (row[0] == L"folder") folder.MakeFolder(row[1]);
    if (row[0] == L"plain") folder.Write(row[1], "no version resource");
    if (row[0] == L"program") {
      folder.Write(row[1], VersionedContent(part(0), part(1), part(2), part(3)));
    }
  }
  const std::string root = util::ToAnsi(folder.path()) + "\\";
  ::SetEnvironmentVariableA("PREREQ_ROOT", root.c_str());
  for (const test::DataRow& row : test::ReadDataRows("appsearch/file_searches.txt")) {
    CAPTURE(row.line);
    std::string search = row.Ansi(0);
    if (search.starts_with("{root}")) search.replace(0, 6, root);
    CHECK(Find(search, row.Ansi(1), row.Ansi(2)) == row.Ansi(3));
  }
}

TEST_CASE("a bare name is searched from the root of every fixed drive, first entry passed over") {
  const std::string name = "prereq" + std::to_string(::GetCurrentProcessId());
  const std::string first = "C:\\!" + name;
  AtRoot files;
  files.Write(first + "\\" + name, VersionedContent(7, 0, 0, 2));
  files.Write("C:\\~" + name + "\\" + name, VersionedContent(7, 0, 0, 3));
  CHECK(Find(name) == "none");
  files.Write("C:\\" + name, VersionedContent(7, 0, 0, 1));
  CHECK(Find(name) == "7.0.0.1");

  // A root has no entry for itself, so it is a folder of its own that is not looked into.
  WIN32_FIND_DATAA entry;
  const util::UniqueFind entries(::FindFirstFileA("C:\\*", &entry));
  REQUIRE(entries);
  REQUIRE(entry.cFileName == first.substr(3));
  CHECK(Find("C:\\" + name + "?1", "8") == "7.0.0.1 7.0.0.3");
  CHECK(Find(name + "?1", "7.0.0.3") == "7.0.0.1 7.0.0.3");
  CHECK(Find(first + "\\" + name + "?1", "8") == "7.0.0.2");
}

TEST_CASE("the 64-bit view sees the 64-bit system folder, and is left again") {
  if (!util::IsNtFamily()) return;  // One system folder only.
  const std::wstring name = L"prereq" + std::to_wstring(::GetCurrentProcessId()) + L".exe";
  const std::wstring path = L"C:\\windows\\system32\\" + name;
  const std::string search = util::ToAnsi(path);
  {
    const util::FileRedirectionOff off;
    const util::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr,
                                              CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    REQUIRE(file);
  }
  CHECK(Find(search) == "none");
  CHECK(Find(search, "", "", true) == "0.0.0.0");
  CHECK(Find("[System64Folder]" + util::ToAnsi(name), "", "", true) == "0.0.0.0");
  CHECK(Find("[SystemFolder]" + util::ToAnsi(name), "", "", true) == "none");
  CHECK_FALSE(util::FileExists(path));  // Redirected again.
  {
    const util::FileRedirectionOff off;
    CHECK(Find(search, "", "", true) == "0.0.0.0");
    CHECK(util::FileExists(path));  // Still off, as it was.
    CHECK(::DeleteFileW(path.c_str()));
  }
}
