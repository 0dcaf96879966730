#ifndef APPSEARCH_CRITERION_H_
#define APPSEARCH_CRITERION_H_

#include <cstdint>
#include <string>
#include <vector>

namespace appsearch {

// The values of `Type`; any other finds nothing. Said of each: what `search` names, what
// `reference` names if it plays a part, and whether bounds, when there are any, ask for a finding
// within them.
enum class SearchKind : int32_t {
  kFile = 0,             // A path, with "*" and a depth. Bounds.
  kSubkeys = 1,          // A key, whose subkeys' names are the findings. Bounds.
  kValue = 2,            // A value, whose text is the finding. Bounds.
  kProduct = 3,          // A product code. Bounds.
  kRelatedProducts = 4,  // An upgrade code. Bounds.
  kKeyExists = 5,        // A key. No bounds.
  kNoKey = 6,            // The same, answered the other way round.
  kValueExists = 7,      // A value. No bounds.
  kNoValue = 8,          // The same, answered the other way round.
  kValueCompares = 9,    // A value; the reference is a sign and a text. No bounds.
  kProgram = 10,         // Arguments; the reference is the program. A bound can hide its window.
  kComponent = 11,       // A component code. No bounds.
};

// One search. All texts are in the ANSI code page.
struct Criterion {
  SearchKind kind = SearchKind::kFile;
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
