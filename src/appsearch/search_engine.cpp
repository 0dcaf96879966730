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
    case SearchKind::kFile:
      FindFiles(criterion, bounds, folders_, findings);
      return bounds.ContainsAny(*findings);
    case SearchKind::kSubkeys:
      FindSubkeys(criterion, findings);
      return bounds.ContainsAny(*findings);
    case SearchKind::kValue:
      FindValue(criterion, findings);
      return bounds.ContainsAny(*findings);
    case SearchKind::kProduct:
      FindProductVersion(criterion, findings);
      return bounds.ContainsAny(*findings);
    case SearchKind::kRelatedProducts:
      FindRelatedVersions(criterion, findings);
      return bounds.ContainsAny(*findings);
    case SearchKind::kKeyExists:
      return KeyExists(criterion);
    case SearchKind::kNoKey:
      return !KeyExists(criterion);
    case SearchKind::kValueExists:
      return ValueExists(criterion);
    case SearchKind::kNoValue:
      return !ValueExists(criterion);
    case SearchKind::kValueCompares:
      return ValueCompares(criterion, findings);
    case SearchKind::kProgram:
      return ProgramAgrees(criterion, folders_, programs_);
    case SearchKind::kComponent:
      return IsComponentInstalled(criterion);
    default:
      return false;
  }
}

}  // namespace appsearch
