#ifndef CHECK_PACKAGE_SCHEDULE_H_
#define CHECK_PACKAGE_SCHEDULE_H_

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "custom_actions.h"
#include "package.h"

namespace check {

// The ends of a sequence, by the numbers that stand for them.
inline constexpr int kAtSuccess = -1;
inline constexpr int kWhenGivenUp = -2;
inline constexpr int kAtFailure = -3;

struct ScheduledAction {
  std::wstring name;
  std::wstring condition;
  int number = 0;
  std::optional<Phase> phase;
  bool runs_once = false;
};

// One sequence table, or what one way of installing runs of it: the actions in order and those at
// its ends. Nobody runs a row without a number.
class Sequence {
 public:
  Sequence(const Package& package, const wchar_t* table, const CustomActions& custom_actions);

  [[nodiscard]] const wchar_t* table() const { return table_; }
  [[nodiscard]] const std::vector<ScheduledAction>& actions() const { return actions_; }
  // Null when it is not scheduled.
  [[nodiscard]] const ScheduledAction* Find(const std::wstring& name) const;
  [[nodiscard]] const ScheduledAction* First(Phase phase) const;
  [[nodiscard]] const ScheduledAction* Last(Phase phase) const;
  // What runs at one of the ends; null for nothing.
  [[nodiscard]] const ScheduledAction* AtEnd(int number) const;

  // The same without the actions that `runs` denies.
  template <typename Predicate>
  [[nodiscard]] Sequence Only(Predicate runs) const {
    Sequence only = *this;
    const auto denied = [&](const ScheduledAction& action) { return !runs(action); };
    std::erase_if(only.actions_, denied);
    std::erase_if(only.ends_, denied);
    return only;
  }

 private:
  const wchar_t* table_;
  std::vector<ScheduledAction> actions_;
  std::vector<ScheduledAction> ends_;
};

// What starts the custom actions of a package: the two sequences of an installation, and dialogs.
struct Schedule {
  explicit Schedule(const Package& package);

  // True when something starts an action of that phase.
  [[nodiscard]] bool Runs(Phase phase) const;
  // True when a dialog does, any of them or the one named.
  [[nodiscard]] bool DialogsStart(Phase phase) const { return by_dialogs.contains(phase); }
  [[nodiscard]] bool DialogStarts(const std::wstring& dialog, Phase phase) const;

  CustomActions custom_actions;
  Sequence user_interface;
  Sequence execute;
  std::map<Phase, std::set<std::wstring>> by_dialogs;  // The dialogs that start it.
};

}  // namespace check

#endif  // CHECK_PACKAGE_SCHEDULE_H_
