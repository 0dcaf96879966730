#ifndef APPSEARCH_FILE_SEARCH_H_
#define APPSEARCH_FILE_SEARCH_H_

#include <cstddef>
#include <string_view>

#include "appsearch/criterion.h"
#include "appsearch/folder_resolver.h"
#include "appsearch/version.h"

namespace appsearch {

// Searches the disk for a file. The search text is a path whose last part may hold "*", with "?"
// and a number after it for the levels of folders below to search too; a bare file name is searched
// from the root of every fixed drive. Adds the version of every file that was looked at, 0.0.0.0
// for one without a version, and ends with the first within the bounds. In each folder the first
// file that matches counts.
void FindFiles(const Criterion& criterion, const VersionBounds& bounds,
               const FolderResolver& folders, Findings* findings);

// Where the levels of folders begin in a search text: at the first "?", unless the text begins with
// it. util::kNoPosition when there are none.
size_t FindDepth(std::string_view text);

}  // namespace appsearch

#endif  // APPSEARCH_FILE_SEARCH_H_
