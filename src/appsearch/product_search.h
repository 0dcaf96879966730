#ifndef APPSEARCH_PRODUCT_SEARCH_H_
#define APPSEARCH_PRODUCT_SEARCH_H_

#include "appsearch/criterion.h"

// What the installer itself knows to be there. The search text is a code in braces.
namespace appsearch {

// Adds the version of the installed product with that product code.
void FindProductVersion(const Criterion& criterion, Findings* findings);

// Adds the version of every installed product with that upgrade code.
void FindRelatedVersions(const Criterion& criterion, Findings* findings);

// True when the component is there, on this machine or at its source.
bool IsComponentInstalled(const Criterion& criterion);

}  // namespace appsearch

#endif  // APPSEARCH_PRODUCT_SEARCH_H_
