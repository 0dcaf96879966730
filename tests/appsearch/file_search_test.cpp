#include "appsearch/file_search.h"

#include <windows.h>

#include <doctest.h>

#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "support/versioned_file.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/text.h"
#include "util/wow64.h"

using appsearch::Criterion;
using appsearch::Findings;
using test::TempFolder;
using test::VersionedContent;

namespace {

// Versions in the order they came up, joined by blanks; "none" when nothing was found.
std::string Find(const std::string& search, const std::string& lowest = "",
                 const std::string& highest = "", bool view64 = false) {
  Findings findings;
  appsearch::FindFiles({.search = search, .view64 = view64},
                       appsearch::VersionBounds(lowest, highest), appsearch::FolderResolver(""),
                       &findings);
  std::string result;
  for (const std::string& version : findings) result += (result.empty() ? "" : " ") + version;
  return findings.empty() ? "none" : result;
}

// A folder or file at the root of the system drive, with a name of the test's own.
class AtRoot {
 public:
  explicit AtRoot(const std::string& first_letters)
      : name_(first_letters + "prereq" + std::to_string(::GetCurrentProcessId())) {}
  AtRoot(const AtRoot&) = delete;
  AtRoot& operator=(const AtRoot&) = delete;
  ~AtRoot() {
    ::DeleteFileA(file_.c_str());
    ::RemoveDirectoryA(path().c_str());
  }

  [[nodiscard]] std::string path() const { return "C:\\" + name_; }
  [[nodiscard]] const std::string& name() const { return name_; }
  // Makes it a folder with that file in it, or without a name the file itself.
  void Write(const std::string& name, const std::string& content) {
    if (!name.empty()) ::CreateDirectoryA(path().c_str(), nullptr);
    file_ = name.empty() ? path() : path() + "\\" + name;
    const util::UniqueFile file(util::CreateForWriting(util::ToWide(file_)));
    DWORD written = 0;
    REQUIRE(::WriteFile(file.Get(), content.data(), static_cast<DWORD>(content.size()), &written,
                        nullptr));
  }

 private:
  std::string name_;
  std::string file_;
};

}  // namespace

TEST_CASE("a file is searched in its folder and in those below, as deep as asked") {
  const TempFolder folder;
  folder.Write(L"a.exe", VersionedContent(1, 2, 3, 4));
  folder.Write(L"b\\a.exe", VersionedContent(2, 0, 0, 65535));
  folder.Write(L"b\\b\\a.exe", VersionedContent(3, 0, 0, 0));
  folder.Write(L"b\\b\\b\\a.exe", VersionedContent(4, 0, 0, 0));
  folder.Write(L"c\\a.exe", "no version resource");
  folder.Write(L"d\\only.dll", VersionedContent(0, 0, 0, 0));
  folder.MakeFolder(L"e\\a.exe");  // A folder of that name is no file.
  folder.Write(L"e\\f.x", "");
  folder.MakeFolder(L"g\\w0.exe");
  folder.MakeFolder(L"g\\w1.exe");
  folder.Write(L"g\\w2.exe", VersionedContent(5, 0, 0, 0));
  folder.Write(L"g\\w3.exe", VersionedContent(6, 0, 0, 0));
  const std::string root = util::ToAnsi(folder.path()) + "\\";
  ::SetEnvironmentVariableA("PREREQ_ROOT", root.c_str());

  struct Case {
    std::string search;
    std::string lowest;
    std::string highest;
    std::string versions;  // All that were looked at; the last is the one that ends the search.
  };
  const Case cases[] = {
      {root + "a.exe", "", "", "1.2.3.4"},
      {root + "a.exe", "1.2.3.4", "1.2.3.4", "1.2.3.4"},
      {root + "a.exe", "1.2.3.5", "", "1.2.3.4"},
      {root + "a.exe?0", "2", "", "1.2.3.4"},
      {root + "a.exe?", "2", "", "1.2.3.4"},
      {root + "a.exe?-3", "2", "", "1.2.3.4"},
      {root + "a.exe?x3", "2", "", "1.2.3.4"},
      {root + "a.exe?1", "2", "", "1.2.3.4 2.0.0.65535"},
      {root + "a.exe?1", "9", "", "1.2.3.4 2.0.0.65535 0.0.0.0"},
      {root + "a.exe?2", "3", "", "1.2.3.4 2.0.0.65535 3.0.0.0"},
      {root + "a.exe? +2 levels?9", "9", "", "1.2.3.4 2.0.0.65535 3.0.0.0 0.0.0.0"},
      {root + "a.exe?3", "9", "", "1.2.3.4 2.0.0.65535 3.0.0.0 4.0.0.0 0.0.0.0"},
      {root + "a.exe?99999999999", "4", "", "1.2.3.4 2.0.0.65535 3.0.0.0 4.0.0.0"},
      {root + "a.exe?3", "", "1.0", "1.2.3.4 2.0.0.65535 3.0.0.0 4.0.0.0 0.0.0.0"},
      {root + "a.exe?1", "", "2.0.0.65534", "1.2.3.4"},
      {root + "c\\a.exe", "", "", "0.0.0.0"},
      {root + "c\\a.exe", "", "9", "0.0.0.0"},
      {root + "d\\only.dll", "0.0", "0", "0.0.0.0"},
      {root + "only.dll?1", "", "", "0.0.0.0"},
      {root + "only.dll", "", "", "none"},
      {root + "e\\a.exe", "", "", "none"},
      {root + "g\\w*.exe", "", "", "5.0.0.0"},
      {root + "g\\w*.exe", "6", "", "5.0.0.0"},  // Only the first that matches counts.
      {root + "e\\", "", "", "none"},
      {root + "nowhere\\a.exe?5", "", "", "none"},
      {"%PREREQ_ROOT%a.exe", "", "", "1.2.3.4"},
      {"%PREREQ_ROOT%only.dll?2", "", "", "0.0.0.0"},
      {"[Nowhere]a.exe", "", "", "none"},
      {"", "", "", "none"},
  };
  for (const Case& c : cases) {
    CAPTURE(c.search);
    CAPTURE(c.lowest);
    CAPTURE(c.highest);
    CHECK(Find(c.search, c.lowest, c.highest) == c.versions);
  }
}

TEST_CASE("a bare name is searched from the root of every fixed drive, first entry passed over") {
  AtRoot file("");
  AtRoot first("!");
  AtRoot last("~");
  CHECK(Find(file.name()) == "none");
  first.Write(file.name(), VersionedContent(7, 0, 0, 2));
  last.Write(file.name(), VersionedContent(7, 0, 0, 3));
  CHECK(Find(file.name()) == "none");
  file.Write("", VersionedContent(7, 0, 0, 1));
  CHECK(Find(file.name()) == "7.0.0.1");

  // A root has no entry for itself, so it is a folder of its own that is not looked into.
  WIN32_FIND_DATAA entry;
  const util::UniqueFind entries(::FindFirstFileA("C:\\*", &entry));
  REQUIRE(entries);
  REQUIRE(entry.cFileName == first.name());
  CHECK(Find(file.path() + "?1", "8") == "7.0.0.1 7.0.0.3");
  CHECK(Find(file.name() + "?1", "7.0.0.3") == "7.0.0.1 7.0.0.3");
  CHECK(Find(first.path() + "\\" + file.name() + "?1", "8") == "7.0.0.2");
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
