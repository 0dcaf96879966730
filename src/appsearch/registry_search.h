#ifndef APPSEARCH_REGISTRY_SEARCH_H_
#define APPSEARCH_REGISTRY_SEARCH_H_

#include "appsearch/criterion.h"

// The searches of the registry. The search text is the path of a key or of a value.
namespace appsearch {

// Adds the name of every subkey that the code page can say, in the registry's order.
void FindSubkeys(const Criterion& criterion, Findings* findings);

// Adds the value's text when it can be read.
void FindValue(const Criterion& criterion, Findings* findings);

bool KeyExists(const Criterion& criterion);

// False also for a path without a backslash.
bool ValueExists(const Criterion& criterion);

// Reads the value as text, adds it to the findings and answers whether it stands to the reference
// as the reference's sign says. Does not return for a value that is neither REG_SZ nor a number.
bool ValueCompares(const Criterion& criterion, Findings* findings);

}  // namespace appsearch

#endif  // APPSEARCH_REGISTRY_SEARCH_H_
