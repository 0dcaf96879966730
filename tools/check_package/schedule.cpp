#include "schedule.h"

#include <algorithm>

#include "util/text.h"

namespace check {

Sequence::Sequence(const Package& package, const wchar_t* table,
                   const std::vector<CustomAction>& custom_actions)
    : table_(table) {
  for (const msi::TableRow& row : package.Rows(table, {L"Action", L"Condition", L"Sequence"})) {
    ScheduledAction action = {row.Get(L"Action"), row.Get(L"Condition"),
                              util::ParseDecimal<int32_t>(row.Get(L"Sequence")), std::nullopt,
                              false};
    if (action.number <= 0) continue;
    for (const CustomAction& custom : custom_actions) {
      if (custom.name != action.name) continue;
      action.phase = custom.phase;
      action.runs_once = custom.RunsOnce();
    }
    actions_.push_back(std::move(action));
  }
  std::sort(actions_.begin(), actions_.end(),
            [](const ScheduledAction& a, const ScheduledAction& b) { return a.number < b.number; });
}

const ScheduledAction* Sequence::Find(const std::wstring& name) const {
  const auto found = std::find_if(actions_.begin(), actions_.end(),
                                  [&](const ScheduledAction& one) { return one.name == name; });
  return found == actions_.end() ? nullptr : &*found;
}

const ScheduledAction* Sequence::First(Phase phase) const {
  const auto found = std::find_if(actions_.begin(), actions_.end(),
                                  [&](const ScheduledAction& one) { return one.phase == phase; });
  return found == actions_.end() ? nullptr : &*found;
}

const ScheduledAction* Sequence::Last(Phase phase) const {
  const auto found = std::find_if(actions_.rbegin(), actions_.rend(),
                                  [&](const ScheduledAction& one) { return one.phase == phase; });
  return found == actions_.rend() ? nullptr : &*found;
}

Schedule::Schedule(const Package& package)
    : custom_actions(LoadCustomActions(package)),
      user_interface(package, L"InstallUISequence", custom_actions),
      execute(package, L"InstallExecuteSequence", custom_actions) {}

bool Schedule::Runs(Phase phase) const {
  return user_interface.First(phase) != nullptr || execute.First(phase) != nullptr;
}

}  // namespace check
