#ifndef CHECK_PACKAGE_ROW_NEEDS_H_
#define CHECK_PACKAGE_ROW_NEEDS_H_

#include "checks.h"

namespace check {

// What the rows of a package ask of its sequences.
struct RowNeeds {
  bool download = false;
  bool beside = false;  // Setup files beside the package.
  bool extract = false;
  bool before_product = false;
  bool after_product = false;
  bool verify = false;
  bool search = false;
  bool conditions_use_searches = false;
};

[[nodiscard]] RowNeeds ReadRowNeeds(const Context& context);

}  // namespace check

#endif  // CHECK_PACKAGE_ROW_NEEDS_H_
