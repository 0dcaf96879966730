#include "appsearch/search_engine.h"

#include <iterator>
#include <utility>

#include "appsearch/file_search.h"
#include "appsearch/product_search.h"
#include "appsearch/program_search.h"
#include "appsearch/registry_search.h"
#include "appsearch/version.h"

namespace appsearch {

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
  const VersionBounds bounds(criterion.lowest, criterion.highest);
  switch (criterion.kind) {
    case 0:
      FindFiles(criterion, bounds, folders_, findings);
      return bounds.ContainsAny(*findings);
    case 1:
      FindSubkeys(criterion, findings);
      return bounds.ContainsAny(*findings);
    case 2:
      FindValue(criterion, findings);
      return bounds.ContainsAny(*findings);
    case 3:
      FindProductVersion(criterion, findings);
      return bounds.ContainsAny(*findings);
    case 4:
      FindRelatedVersions(criterion, findings);
      return bounds.ContainsAny(*findings);
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
    case 10:
      return ProgramAgrees(criterion, folders_, programs_);
    case 11:
      return IsComponentInstalled(criterion);
    default:
      return false;
  }
}

}  // namespace appsearch
