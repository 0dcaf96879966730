#ifndef CHECK_PACKAGE_SCHEDULE_H_
#define CHECK_PACKAGE_SCHEDULE_H_

#include <optional>
#include <string>
#include <vector>

#include "custom_actions.h"
#include "package.h"

namespace check {

struct ScheduledAction {
  std::wstring name;
  std::wstring condition;
  int number = 0;
  std::optional<Phase> phase;
  bool runs_once = false;
};

// One sequence table: what it runs, in order. A row without a number above 0 is run by nobody.
class Sequence {
 public:
  Sequence(const Package& package, const wchar_t* table,
           const std::vector<CustomAction>& custom_actions);

  [[nodiscard]] const wchar_t* table() const { return table_; }
  [[nodiscard]] const std::vector<ScheduledAction>& actions() const { return actions_; }
  // Null when it is not scheduled.
  [[nodiscard]] const ScheduledAction* Find(const std::wstring& name) const;
  [[nodiscard]] const ScheduledAction* First(Phase phase) const;
  [[nodiscard]] const ScheduledAction* Last(Phase phase) const;

 private:
  const wchar_t* table_;
  std::vector<ScheduledAction> actions_;
};

// The two sequences of an installation.
struct Schedule {
  explicit Schedule(const Package& package);

  // True when one of the two runs an action of that phase.
  [[nodiscard]] bool Runs(Phase phase) const;

  std::vector<CustomAction> custom_actions;
  Sequence user_interface;
  Sequence execute;
};

}  // namespace check

#endif  // CHECK_PACKAGE_SCHEDULE_H_
