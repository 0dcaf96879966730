#ifndef CHECK_PACKAGE_CONDITION_TRIALS_H_
#define CHECK_PACKAGE_CONDITION_TRIALS_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "package.h"

namespace check {

// What a condition comes to, whatever the values that are not known.
enum class Outcome { kNever, kMaybe, kAlways };

// Tries conditions with every value of a property that can make a difference: unset, 1, and what
// the condition compares with. So the verdict is the same on every machine that checks.
class ConditionTrials {
 public:
  explicit ConditionTrials(const Package& package) : package_(package) {}

  // `known` are the values that are certain. kMaybe for what cannot be tried: conditions on
  // variables, features and components, malformed ones, those with very many properties, and all
  // of them without an installation. An empty condition is always true.
  [[nodiscard]] Outcome Try(const std::wstring& condition, const Values& known) const;

 private:
  [[nodiscard]] Outcome TryAll(const std::wstring& condition, const Values& known) const;

  const Package& package_;
  mutable std::map<std::pair<std::wstring, Values>, Outcome> tried_;
};

// The systems that the installer runs on, as it describes them to conditions.
[[nodiscard]] const std::vector<Values>& KnownSystems();

}  // namespace check

#endif  // CHECK_PACKAGE_CONDITION_TRIALS_H_
