#include <algorithm>

#include "checks.h"
#include "contract/tables.h"
#include "conditions.h"
#include "row_needs.h"
#include "util/text.h"

namespace check {
namespace {

constexpr Phase kPromptPhases[] = {Phase::kDownload, Phase::kExtract, Phase::kInstall,
                                   Phase::kInstallPost, Phase::kVerify};

// What has to be there again after a restart; downloaded and unpacked files still are.
constexpr Phase kResumedPhases[] = {Phase::kSearch, Phase::kInstall, Phase::kInstallPost,
                                    Phase::kVerify, Phase::kClean};

constexpr int kDialogIsModal = 2;

Place At(const Sequence& sequence, const ScheduledAction& action, const wchar_t* column = L"") {
  return {sequence.table(), action.name, column};
}

// Each action on some road.
void CheckReached(const Context& context) {
  for (const Sequence* sequence : {&context.schedule.user_interface, &context.schedule.execute}) {
    const bool is_ui = sequence == &context.schedule.user_interface;
    for (const ScheduledAction& action : sequence->actions()) {
      const bool is_reached =
          std::any_of(AllRoads().begin(), AllRoads().end(), [&](const Road& road) {
            return (!is_ui || road.has_dialogs) &&
                   context.roads.Runs(road, action) != Outcome::kNever;
          });
      if (!action.phase || is_reached) continue;
      context.report->Add(kNeverReached, At(*sequence, action, L"Condition"), {action.condition});
    }
  }
}

// The name under which the author knows the actions of a phase.
std::wstring NameOf(const Context& context, Phase phase) {
  const ScheduledAction* const first = context.schedule.user_interface.First(phase);
  const ScheduledAction* const second = context.schedule.execute.First(phase);
  return second != nullptr ? second->name : first->name;
}

// The phases that something schedules but that no first installation of that sort reaches.
std::vector<std::wstring> Missed(const Context& context, bool has_dialogs) {
  std::vector<std::wstring> missed;
  for (const Phase phase : kPromptPhases) {
    if (context.schedule.user_interface.First(phase) == nullptr &&
        context.schedule.execute.First(phase) == nullptr) {
      continue;
    }
    const bool is_missed = std::any_of(AllRoads().begin(), AllRoads().end(), [&](const Road& road) {
      return road.kind == RoadKind::kFirst && road.has_dialogs == has_dialogs &&
             !context.roads.Reaches(road, phase);
    });
    if (is_missed) missed.push_back(NameOf(context, phase));
  }
  return missed;
}

// Each prompt once, and in every first installation: with the user interface both sequences run,
// without one the second alone.
void CheckPrompts(const Context& context) {
  const std::vector<std::wstring> silent = Missed(context, false);
  if (!silent.empty()) {
    context.report->Add(kNotWhenSilent, {context.schedule.execute.table(), {}, {}},
                        {Listed(silent)});
  }
  const std::vector<std::wstring> with_dialogs = Missed(context, true);
  if (!with_dialogs.empty()) {
    context.report->Add(kNotWithInterface, {context.schedule.user_interface.table(), {}, {}},
                        {Listed(with_dialogs)});
  }
  for (const Road& road : AllRoads()) {
    if (road.kind != RoadKind::kFirst || !road.has_dialogs) continue;
    for (const Phase phase : kPromptPhases) {
      const ScheduledAction* const first = context.schedule.user_interface.First(phase);
      const ScheduledAction* const second = context.schedule.execute.First(phase);
      if (first == nullptr || second == nullptr || second->runs_once) continue;
      if (context.roads.Runs(road, *first) == Outcome::kAlways &&
          context.roads.Runs(road, *second) == Outcome::kAlways) {
        context.report->Add(kAskedTwice, At(context.schedule.execute, *second, L"Condition"));
      }
    }
  }
}

void CheckResumed(const Context& context) {
  for (const Phase phase : kResumedPhases) {
    const Road& first = FirstWithDialogs();
    const auto resumed = std::find_if(AllRoads().begin(), AllRoads().end(), [](const Road& road) {
      return road.kind == RoadKind::kResumed && road.has_dialogs;
    });
    if (!context.roads.Reaches(first, phase) || context.roads.Reaches(*resumed, phase)) continue;
    const bool is_ui = context.roads.UserInterface(first).First(phase) != nullptr;
    const Sequence& sequence = is_ui ? context.schedule.user_interface : context.schedule.execute;
    if (const ScheduledAction* const action = sequence.First(phase)) {
      context.report->Add(kNotResumed, At(sequence, *action, L"Condition"));
    }
  }
}

void CheckAppSearch(const Context& context, const Sequence& sequence) {
  const ScheduledAction* const search = sequence.First(Phase::kSearch);
  const ScheduledAction* const installers = sequence.Find(L"AppSearch");
  if (search == nullptr || installers == nullptr || search->number > installers->number) return;
  const std::set<std::wstring> found = context.package.Cells(L"AppSearch", L"Property");
  for (const msi::TableRow& row : context.package.Rows(contract::kSearchTable)) {
    std::vector<std::wstring> names = ConditionText(row.Get(L"Condition")).properties;
    for (std::wstring& name : PropertiesInText(row.Get(L"SearchString"))) {
      names.push_back(std::move(name));
    }
    const auto used = std::find_if(names.begin(), names.end(), [&](const std::wstring& name) {
      return found.contains(name) && context.package.DefaultOf(name).empty();
    });
    if (used == names.end()) continue;
    context.report->Add(kBeforeAppSearch, At(sequence, *search),
                        {util::ToSignedDecimal(installers->number), *used});
    return;
  }
}

void CheckSource(const Context& context, const RowNeeds& needs, const Sequence& sequence) {
  const ScheduledAction* const source = sequence.Find(L"ResolveSource");
  const ScheduledAction* const costing = sequence.Find(L"CostInitialize");
  const ScheduledAction* const install = sequence.Last(Phase::kInstall);
  if (source != nullptr && costing != nullptr && source->number < costing->number) {
    context.report->Add(kResolvedTooEarly, At(sequence, *source));
  }
  if (needs.beside && install != nullptr &&
      (source == nullptr || source->number > install->number)) {
    context.report->Add(kNoSourceFolder, At(sequence, *install));
  }
}

// A repair finds the setup files in the same way.
void CheckSourceInRepair(const Context& context, const RowNeeds& needs, const Sequence& whole,
                         const Sequence& repair) {
  const ScheduledAction* const source = whole.Find(L"ResolveSource");
  const ScheduledAction* const install = repair.Last(Phase::kInstall);
  if (needs.beside && source != nullptr && install != nullptr &&
      repair.Find(L"ResolveSource") == nullptr) {
    context.report->Add(kNotResolvedInRepair, At(whole, *source, L"Condition"),
                        {source->condition, install->name});
  }
}

// What is installed before the user has agreed to anything.
void CheckDialogs(const Context& context, const Sequence& ui) {
  const ScheduledAction* const install = ui.First(Phase::kInstall);
  if (install == nullptr) return;
  std::set<std::wstring> asking;
  for (const msi::TableRow& row : context.package.Rows(L"Dialog")) {
    if (util::ParseDecimal<int32_t>(row.Get(L"Attributes")) & kDialogIsModal) {
      asking.insert(row.Get(L"Dialog"));
    }
  }
  const auto first =
      std::find_if(ui.actions().begin(), ui.actions().end(),
                   [&](const ScheduledAction& action) { return asking.contains(action.name); });
  if (first != ui.actions().end() && first->number > install->number) {
    context.report->Add(kBeforeFirstDialog, At(ui, *install), {first->name});
  }
}

// What a prerequisite brings cannot be asked for before it.
void CheckLaunchConditions(const Context& context, const Sequence& sequence) {
  const ScheduledAction* const launch = sequence.Find(L"LaunchConditions");
  const ScheduledAction* const install = sequence.First(Phase::kInstall);
  if (launch == nullptr || install == nullptr || launch->number > install->number) return;
  std::set<std::wstring> brought;
  for (const PrerequisiteRow& row : context.prerequisites) {
    for (const std::wstring& name : ConditionText(row.read.missing_condition).properties) {
      if (context.properties.IsSearched(name)) brought.insert(name);
    }
  }
  for (const msi::TableRow& row : context.package.Rows(L"LaunchCondition")) {
    const std::wstring condition = row.Get(L"Condition");
    const ConditionText text(condition);
    const auto asked =
        std::find_if(text.properties.begin(), text.properties.end(),
                     [&](const std::wstring& name) { return brought.contains(name); });
    if (asked == text.properties.end()) continue;
    context.report->Add(kLaunchesTooEarly, At(sequence, *launch),
                        {condition, *asked, install->name});
  }
}

// Windows runs one execute sequence at a time.
void CheckNested(const Context& context, const Sequence& execute) {
  for (const PrerequisiteRow& row : context.prerequisites) {
    const std::wstring name = row.read.file_name;
    std::wstring ending = name.substr(std::min(name.size(), name.rfind(L'.')));
    std::transform(ending.begin(), ending.end(), ending.begin(), &util::FoldAscii);
    const ScheduledAction* const runs =
        execute.First(row.read.is_after_product ? Phase::kInstallPost : Phase::kInstall);
    if (runs == nullptr || (ending != L".msi" && ending != L".msp")) continue;
    context.report->Add(kNestedInstallation, row.At(L""), {name, runs->name});
  }
}

// The value for the next logon, which the library never takes back itself.
void CheckRunValue(const Context& context) {
  if (!context.schedule.Runs(Phase::kInstall) && !context.schedule.Runs(Phase::kInstallPost)) {
    return;
  }
  const auto names_it = [](std::wstring text) {
    std::transform(text.begin(), text.end(), text.begin(), &util::FoldAscii);
    return text.find(L"currentversion\\run") != text.npos;
  };
  const auto& rows = context.package.Rows(L"RemoveRegistry");
  const auto& actions = context.schedule.custom_actions.all();
  const bool is_taken_back =
      std::any_of(rows.begin(), rows.end(),
                  [&](const msi::TableRow& row) { return names_it(row.Get(L"Key")); }) ||
      std::any_of(actions.begin(), actions.end(), [&](const CustomAction& action) {
        return names_it(action.target) || action.IsOwnCode() || action.TakesRunValueBack();
      });
  if (!is_taken_back) context.report->Add(kRunValueStays, {});
}

}  // namespace

void CheckRoads(const Context& context) {
  const RowNeeds needs = ReadRowNeeds(context);
  CheckReached(context);
  CheckPrompts(context);
  CheckResumed(context);
  CheckRunValue(context);
  for (const Road& road : AllRoads()) {
    const Sequence ui = context.roads.UserInterface(road);
    const Sequence execute = context.roads.Execute(road);
    const bool repairs = road.kind == RoadKind::kRepair;
    for (const Sequence* sequence : {&ui, &execute}) {
      const Sequence& whole =
          sequence == &ui ? context.schedule.user_interface : context.schedule.execute;
      if (repairs) CheckSourceInRepair(context, needs, whole, *sequence);
      if (!road.IsInstallation()) continue;
      CheckAppSearch(context, *sequence);
      CheckSource(context, needs, *sequence);
      CheckLaunchConditions(context, *sequence);
    }
    if (!road.IsInstallation()) continue;
    CheckDialogs(context, ui);
    CheckNested(context, execute);
  }
}

}  // namespace check
