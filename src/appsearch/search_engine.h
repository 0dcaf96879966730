#ifndef APPSEARCH_SEARCH_ENGINE_H_
#define APPSEARCH_SEARCH_ENGINE_H_

#include <utility>
#include <vector>

#include "appsearch/criterion.h"
#include "appsearch/folder_resolver.h"
#include "appsearch/program_search.h"

namespace appsearch {

// How the answers of several criteria make one.
enum class CombiningMode { kAll = 0, kAny = 1 };

struct SearchResult {
  bool found = false;
  Findings findings;  // May hold what was looked at and refused, too.
};

// Runs searches. Knows nothing of the installation that asks for them.
class SearchEngine {
 public:
  // `programs` is where program runs take their program from; it must outlive the engine. `folders`
  // resolves the references in paths and arguments.
  SearchEngine(ProgramSource* programs, FolderResolver folders)
      : programs_(programs), folders_(std::move(folders)) {}

  // Runs the criteria in order; none at all find nothing. With `stop_early`, those that cannot
  // change the answer any more are left out.
  [[nodiscard]] SearchResult Search(const std::vector<Criterion>& criteria, CombiningMode mode,
                                    bool stop_early) const;

 private:
  bool Find(const Criterion& criterion, Findings* findings) const;

  ProgramSource* programs_;
  FolderResolver folders_;
};

}  // namespace appsearch

#endif  // APPSEARCH_SEARCH_ENGINE_H_
