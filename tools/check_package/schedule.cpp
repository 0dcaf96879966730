#include "schedule.h"

#include <algorithm>

#include "util/text.h"

namespace check {
namespace {

template <typename Iterator, typename Predicate>
const ScheduledAction* FindIn(Iterator begin, Iterator end, Predicate fits) {
  const auto found = std::find_if(begin, end, fits);
  return found == end ? nullptr : &*found;
}

}  // namespace

Sequence::Sequence(const Package& package, const wchar_t* table,
                   const CustomActions& custom_actions)
    : table_(table) {
  for (const msi::TableRow& row : package.Rows(table)) {
    ScheduledAction action = {row.Get(L"Action"), row.Get(L"Condition"),
                              util::ParseDecimal<int32_t>(row.Get(L"Sequence")), std::nullopt,
                              false};
    if (action.number == 0) continue;
    if (const CustomAction* const custom = custom_actions.Find(action.name)) {
      action.phase = custom->phase;
      action.runs_once = custom->RunsOnce();
    }
    (action.number > 0 ? actions_ : ends_).push_back(std::move(action));
  }
  std::sort(actions_.begin(), actions_.end(),
            [](const ScheduledAction& a, const ScheduledAction& b) { return a.number < b.number; });
}

const ScheduledAction* Sequence::Find(const std::wstring& name) const {
  return FindIn(actions_.begin(), actions_.end(),
                [&](const ScheduledAction& one) { return one.name == name; });
}

const ScheduledAction* Sequence::First(Phase phase) const {
  return FindIn(actions_.begin(), actions_.end(),
                [&](const ScheduledAction& one) { return one.phase == phase; });
}

const ScheduledAction* Sequence::Last(Phase phase) const {
  return FindIn(actions_.rbegin(), actions_.rend(),
                [&](const ScheduledAction& one) { return one.phase == phase; });
}

const ScheduledAction* Sequence::AtEnd(int number) const {
  return FindIn(ends_.begin(), ends_.end(),
                [&](const ScheduledAction& one) { return one.number == number; });
}

Schedule::Schedule(const Package& package)
    : custom_actions(package),
      user_interface(package, L"InstallUISequence", custom_actions),
      execute(package, L"InstallExecuteSequence", custom_actions) {
  for (const msi::TableRow& row : package.Rows(L"ControlEvent")) {
    if (row.Get(L"Event") != L"DoAction") continue;
    const CustomAction* const action = custom_actions.Find(row.Get(L"Argument"));
    if (action != nullptr && action->phase) by_dialogs[*action->phase].insert(row.Get(L"Dialog_"));
  }
}

bool Schedule::Runs(Phase phase) const {
  return user_interface.First(phase) != nullptr || execute.First(phase) != nullptr ||
         DialogsStart(phase);
}

bool Schedule::DialogStarts(const std::wstring& dialog, Phase phase) const {
  const auto found = by_dialogs.find(phase);
  return found != by_dialogs.end() && found->second.contains(dialog);
}

}  // namespace check
