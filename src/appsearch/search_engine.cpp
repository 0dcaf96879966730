#include "appsearch/search_engine.h"

#include <iterator>
#include <utility>

#include "appsearch/registry_search.h"
#include "appsearch/version.h"

namespace appsearch {
namespace {

bool IsWithinBounds(const Criterion& criterion, const Findings& findings) {
  return VersionBounds(criterion.lowest, criterion.highest).ContainsAny(findings);
}

}  // namespace

SearchResult SearchEngine::Search(const std::vector<Criterion>& criteria, CombiningMode mode,
                                  bool stop_early) const {
  SearchResult result;
  // One that decides: under "all" the first that is not found, under "any" the first that is.
  const bool deciding = mode == CombiningMode::kAny;
  bool decided = false;
  for (const Criterion& criterion : criteria) {
    Findings findings;
    decided = Find(criterion, &findings) == deciding || decided;
    result.findings.insert(result.findings.end(), std::move_iterator(findings.begin()),
                           std::move_iterator(findings.end()));
    if (decided && stop_early) break;
  }
  result.found = !criteria.empty() && decided == deciding;
  return result;
}

bool SearchEngine::Find(const Criterion& criterion, Findings* findings) const {
  // Version bounds belong to the kinds that find versions; the others answer by themselves.
  switch (criterion.kind) {
    case 1:
      FindSubkeys(criterion, findings);
      return IsWithinBounds(criterion, *findings);
    case 2:
      FindValue(criterion, findings);
      return IsWithinBounds(criterion, *findings);
    case 5:
      return KeyExists(criterion);
    case 6:
      return !KeyExists(criterion);
    case 7:
      return ValueExists(criterion);
    case 8:
      return !ValueExists(criterion);
    case 9:
      return ValueCompares(criterion, findings);
    default:
      return false;
  }
}

}  // namespace appsearch
