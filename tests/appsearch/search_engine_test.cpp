#include "appsearch/search_engine.h"

#include <doctest.h>

#include <string>
#include <vector>

#include "support/data_rows.h"
#include "support/temp_folder.h"
#include "support/test_key.h"
#include "support/versioned_file.h"
#include "util/text.h"
#include "util/unique_handle.h"

using appsearch::CombiningMode;
using appsearch::Criterion;
using appsearch::SearchEngine;
using appsearch::SearchKind;

TEST_CASE("several criteria make one answer") {
  const test::TestKey key;
  for (const char* name : {"a", "b", "c"}) key.SetText(name, name);
  const SearchEngine engine(nullptr, appsearch::FolderResolver(""));
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
  const SearchEngine engine(nullptr, appsearch::FolderResolver(""));
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
