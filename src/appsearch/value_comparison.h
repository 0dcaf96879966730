#ifndef APPSEARCH_VALUE_COMPARISON_H_
#define APPSEARCH_VALUE_COMPARISON_H_

#include <string_view>

namespace appsearch {

// Whether `value` stands to the rest of `reference` as the sign at its beginning says:
//   "=", "=="  is the same text, letter case included      "!", "!=", "<>"  is another text
//   "<"        is below      "+", ">="  is that or above (at least)
//   ">"        is above      "-", "<="  is that or below (at most)
//   "~"        contains it, letter case included
// Below and above compare two whole numbers as such, whatever their size, and anything else as
// versions; a text that is neither stands in no order to anything. An empty reference asks for
// nothing, so every value will do; one that begins with no sign matches none.
bool Compares(std::string_view value, std::string_view reference);

// False when no value at all stands to the reference as it says: no sign, or an order relative to
// what is neither a number nor a version.
bool CanCompare(std::string_view reference);

}  // namespace appsearch

#endif  // APPSEARCH_VALUE_COMPARISON_H_
