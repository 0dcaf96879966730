#include "appsearch/search_engine.h"

#include "appsearch/file_search.h"
#include "appsearch/product_search.h"
#include "appsearch/program_search.h"
#include "appsearch/registry_search.h"
#include "appsearch/version.h"

namespace appsearch {

SearchResult SearchEngine::Search(const std::vector<Criterion>& criteria, CombiningMode mode,
                                  bool stop_early) const {
  // Under "all" the first that is not found decides, under "any" the first that is.
  const bool deciding = mode == CombiningMode::kAny;
  SearchResult result = {.found = !deciding && !criteria.empty(), .findings = {}};
  for (const Criterion& criterion : criteria) {
    Findings findings;
    const bool found = Find(criterion, &findings);
    result.findings.insert(result.findings.end(), findings.begin(), findings.end());
    if (found != deciding) continue;
    result.found = found;
    if (stop_early) break;
  }
  return result;
}

bool SearchEngine::Find(const Criterion& criterion, Findings* findings) const {
  const VersionBounds bounds(criterion.lowest, criterion.highest);
  switch (criterion.kind) {
    case SearchKind::kFile:
      FindFiles(criterion, bounds, folders_, findings);
      break;
    case SearchKind::kSubkeys:
      FindSubkeys(criterion, findings);
      break;
    case SearchKind::kValue:
      FindValue(criterion, findings);
      break;
    case SearchKind::kProduct:
      FindProductVersion(criterion, findings);
      break;
    case SearchKind::kRelatedProducts:
      FindRelatedVersions(criterion, findings);
      break;
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
  // Version bounds belong to the kinds that find versions; the others answer by themselves.
  return bounds.ContainsAny(*findings);
}

}  // namespace appsearch
