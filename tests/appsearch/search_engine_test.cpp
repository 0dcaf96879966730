#include "appsearch/search_engine.h"

#include <doctest.h>

#include <string>
#include <vector>

#include "appsearch/search_rows.h"
#include "support/data_rows.h"
#include "support/temp_folder.h"
#include "support/test_key.h"
#include "support/versioned_file.h"
#include "util/os_family.h"
#include "util/text.h"
#include "util/unique_handle.h"

using appsearch::CombiningMode;
using appsearch::Criterion;
using appsearch::SearchEngine;
using appsearch::SearchKind;

TEST_CASE("several criteria make one answer") {
  const test::TestKey key;
  for (const char* name : {"a", "b", "c"}) key.SetText(name, name);
  const SearchEngine engine(nullptr, appsearch::FolderResolver(L""));
  for (const test::DataRow& row : test::ReadDataRows("appsearch/combinations.txt")) {
    CAPTURE(row.line);
    std::vector<Criterion> criteria;
    for (const char name : row.Ansi(0)) {
      criteria.push_back({.kind = SearchKind::kValue, .search = key.path() + "\\" + name});
    }
    const auto mode = row[1] == L"any" ? CombiningMode::kAny : CombiningMode::kAll;
    const appsearch::SearchResult result = engine.Search(criteria, mode, row.Yes(2));
    CHECK(result.found == row.Yes(3));
    std::string findings;
    for (const std::string& finding : result.findings) findings += finding;
    CHECK(findings == row.Ansi(4));
  }
}

TEST_CASE("what the code page cannot say is never its neighbour") {
  const test::TempFolder folder;
  for (const wchar_t* name : {L"Lukasz", L"\u0141ukasz"}) {
    folder.Write(std::wstring(name) + L"\\a.exe",
                 test::VersionedContent(name[0] == L'L' ? 1 : 2, 0, 0, 0));
  }
  const test::TestKey key;
  const util::UniqueRegistryKey opened = key.Make("");
  const std::wstring unsayable = folder / L"\u0141ukasz";
  ::RegSetValueExW(opened.Get(), L"folder", 0, REG_SZ,
                   reinterpret_cast<const BYTE*>(unsayable.c_str()),
                   static_cast<DWORD>(unsayable.size() * 2 + 2));
  ::RegSetValueExW(opened.Get(), L"name", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"\u0141ukasz"),
                   14);
  util::UniqueRegistryKey subkey;
  ::RegCreateKeyExW(opened.Get(), L"\u0141 9", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                    subkey.Receive(), nullptr);
  ::SetEnvironmentVariableW(L"PREREQ_UNSAYABLE", unsayable.c_str());
  const SearchEngine engine(nullptr, appsearch::FolderResolver(unsayable));
  const std::wstring path = key.wide_path();
  // What is found; Windows 95, 98 and Me have nothing but the ANSI calls.
  const auto find = [&](SearchKind kind, const std::wstring& search,
                        const std::wstring& reference = L"") -> std::string {
    appsearch::SearchRow row;
    row.kind = kind;
    row.reference = reference;
    const auto criterion = appsearch::ToCriterion(row, search);
    if (!criterion) return "cannot be said";
    const auto result = engine.Search({*criterion}, CombiningMode::kAll, true);
    if (!result.found) return "nothing";
    return result.findings.empty() ? "found" : result.findings.front();
  };
  CHECK(find(SearchKind::kFile, unsayable + L"\\a.exe") == "cannot be said");
  CHECK(find(SearchKind::kNoValue, path + L"\\\u0141") == "cannot be said");
  CHECK(find(SearchKind::kValueCompares, path + L"\\name", L"!\u0141ukasz") == "cannot be said");
  if (!util::IsNtFamily()) return;
  CHECK(find(SearchKind::kValueCompares, path + L"\\name", L"=Lukasz") == "nothing");
  CHECK(find(SearchKind::kValueCompares, path + L"\\name", L"=?ukasz") == "nothing");
  CHECK(find(SearchKind::kValue, path + L"\\name") == "nothing");
  CHECK(find(SearchKind::kSubkeys, path) == "nothing");
  CHECK(find(SearchKind::kValueExists, path + L"\\name") == "found");
  // Short names say it.
  CHECK(find(SearchKind::kFile, L"!" + path + L"\\folder!\\a.exe") == "2.0.0.0");
  CHECK(find(SearchKind::kFile, L"%PREREQ_UNSAYABLE%\\a.exe") == "2.0.0.0");
  CHECK(find(SearchKind::kFile, L"[SETUPEXEDIR]a.exe") == "2.0.0.0");
  CHECK(find(SearchKind::kFile, L"!" + path + L"\\name!\\a.exe") == "nothing");
  appsearch::SearchRow bounded;
  bounded.lowest = L"2";
  const auto below = appsearch::ToCriterion(bounded, folder.path() + L"\\a.exe?1");
  CHECK(engine.Search({*below}, CombiningMode::kAll, true).found);
}

TEST_CASE("searches leave no handle open") {
  const test::TestKey key;
  key.SetText("v", "1.0");
  const test::TempFolder folder;
  folder.Write(L"a\\b\\c.exe", test::VersionedContent(1, 0, 0, 0));
  const std::string root = util::ToAnsi(folder.path());
  const std::string value = key.path() + "\\v";
  const std::vector<Criterion> criteria = {
      {.kind = SearchKind::kFile, .search = root + "\\c.exe?2"},
      {.kind = SearchKind::kFile, .search = root + "\\c.exe?2", .lowest = "2", .view64 = true},
      {.kind = SearchKind::kFile, .search = "!" + value + "!\\c.exe"},
      {.kind = SearchKind::kSubkeys, .search = "HKCU\\Software"},
      {.kind = SearchKind::kValue, .search = value},
      {.kind = SearchKind::kKeyExists, .search = key.path()},
      {.kind = SearchKind::kValueExists, .search = value},
      {.kind = SearchKind::kValueCompares, .search = value, .reference = "=2"},
  };
  const SearchEngine engine(nullptr, appsearch::FolderResolver(L""));
  // Handles are numbered from the lowest free one, so any that stays open moves the next.
  const auto next_handle_after_search = [&] {
    (void)engine.Search(criteria, CombiningMode::kAny, /*stop_early=*/false);
    const util::UniqueKernelHandle event(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    return event.Get();
  };
  const HANDLE first = next_handle_after_search();  // After what the system opens once.
  for (int round = 0; round < 5; ++round) (void)next_handle_after_search();
  CHECK(next_handle_after_search() == first);
}
