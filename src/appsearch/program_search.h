#ifndef APPSEARCH_PROGRAM_SEARCH_H_
#define APPSEARCH_PROGRAM_SEARCH_H_

#include "appsearch/criterion.h"
#include "appsearch/folder_resolver.h"
#include "msi/binary_extractor.h"

namespace appsearch {

// Runs the program that the package holds under the name `reference` and waits for its end, without
// a time limit. The search text is its arguments. A version bound that reads "WND_HIDE" keeps its
// window hidden. True when it started and ended with exit code 0.
bool ProgramAgrees(const Criterion& criterion, const FolderResolver& folders,
                   msi::ProgramSource* programs);

}  // namespace appsearch

#endif  // APPSEARCH_PROGRAM_SEARCH_H_
