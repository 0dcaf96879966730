#include "appsearch/search_engine.h"

#include <doctest.h>

#include <string>
#include <vector>

#include "support/test_key.h"

using appsearch::CombiningMode;
using appsearch::Criterion;
using appsearch::SearchEngine;
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
      criteria.push_back({.kind = 2, .search = key.path() + "\\" + letter});
    }
    const SearchResult result = engine.Search(criteria, c.mode, c.stop_early);
    CHECK(result.found == c.found);
    std::string findings;
    for (const std::string& finding : result.findings) findings += finding;
    CHECK(findings == c.findings);
  }
}
