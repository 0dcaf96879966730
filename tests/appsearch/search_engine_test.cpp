#include "appsearch/search_engine.h"

#include <doctest.h>

#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "support/test_key.h"
#include "support/versioned_file.h"
#include "util/text.h"
#include "util/unique_handle.h"

using appsearch::CombiningMode;
using appsearch::Criterion;
using appsearch::SearchEngine;
using appsearch::SearchKind;
using appsearch::SearchResult;

TEST_CASE("several criteria make one answer") {
  const test::TestKey key;
  for (const char* name : {"a", "b", "c"}) key.SetText(name, name);
  const SearchEngine engine(nullptr, appsearch::FolderResolver(""));
  // A value by its letter; "-" is a search that finds nothing.
  struct Case {
    std::string searches;
    CombiningMode mode;
    bool stop_early;
    bool found;
    std::string findings;
  };
  const Case cases[] = {
      {"", CombiningMode::kAll, true, false, ""},
      {"", CombiningMode::kAny, true, false, ""},
      {"a", CombiningMode::kAll, true, true, "a"},
      {"-", CombiningMode::kAll, true, false, ""},
      {"abc", CombiningMode::kAll, true, true, "abc"},
      {"a-c", CombiningMode::kAll, true, false, "a"},
      {"a-c", CombiningMode::kAll, false, false, "ac"},
      {"-bc", CombiningMode::kAny, true, true, "b"},
      {"-bc", CombiningMode::kAny, false, true, "bc"},
      {"--", CombiningMode::kAny, false, false, ""},
  };
  for (const Case& c : cases) {
    CAPTURE(c.searches);
    CAPTURE(c.stop_early);
    std::vector<Criterion> criteria;
    for (const char letter : c.searches) {
      criteria.push_back({.kind = SearchKind::kValue, .search = key.path() + "\\" + letter});
    }
    const SearchResult result = engine.Search(criteria, c.mode, c.stop_early);
    CHECK(result.found == c.found);
    std::string findings;
    for (const std::string& finding : result.findings) findings += finding;
    CHECK(findings == c.findings);
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
