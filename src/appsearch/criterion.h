#ifndef APPSEARCH_CRITERION_H_
#define APPSEARCH_CRITERION_H_

#include <cstdint>
#include <string>
#include <vector>

namespace appsearch {

// One search. All texts are in the ANSI code page.
struct Criterion {
  int32_t kind = 0;
  std::string search = {};
  std::string lowest = {};  // Version bounds; empty for none.
  std::string highest = {};
  std::string reference = {};
  bool view64 = false;  // Look at the registry and files of the 64-bit system, where there is one.
};

// What a search found, as texts in the order they came up.
using Findings = std::vector<std::string>;

}  // namespace appsearch

#endif  // APPSEARCH_CRITERION_H_
