#include <algorithm>

#include "checks.h"
#include "conditions.h"
#include "row_needs.h"
#include "util/text.h"

namespace check {
namespace {

constexpr Phase kRowPhases[] = {Phase::kDownload, Phase::kExtract, Phase::kInstall,
                                Phase::kInstallPost, Phase::kVerify};

Place At(const Sequence& sequence, const ScheduledAction& action) {
  return {sequence.table(), action.name, {}};
}

void CheckScheduled(const Context& context, const RowNeeds& needs) {
  const struct {
    bool needed;
    Phase phase;
    const wchar_t* text;
  } rules[] = {
      {needs.search, Phase::kSearch, L"no row of QX_AppSearchEx is searched"},
      {needs.download, Phase::kDownload, L"rows with Location 1 are not downloaded"},
      {needs.extract, Phase::kExtract,
       L"rows with Location 0 are not unpacked, though QX_FilesInsideExe is set"},
      {needs.before_product, Phase::kInstall, L"no row without p is installed"},
      {needs.after_product, Phase::kInstallPost, L"no row with p is installed"},
  };
  for (const auto& [needed, phase, text] : rules) {
    if (!needed || context.schedule.Runs(phase)) continue;
    context.report->Add(kNotScheduled, {}, {ExportOf(phase), text});
  }
  if (needs.verify && !context.schedule.Runs(Phase::kVerify)) {
    context.report->Add(kNotVerified, {});
  }
}

// True when the conditions of the rows would be judged by what nobody has searched for.
bool InstallsUnsearched(const RowNeeds& needs, const Sequence& sequence) {
  const ScheduledAction* const search = sequence.First(Phase::kSearch);
  const ScheduledAction* const install = sequence.First(Phase::kInstall);
  return needs.conditions_use_searches && install != nullptr &&
         (search == nullptr || search->number > install->number);
}

// `earlier` before `later`, where both are scheduled.
void CheckOrder(const Context& context, const RowNeeds& needs, const Sequence& sequence) {
  static constexpr wchar_t kSearched[] = L"the conditions of the rows depend on what is found";
  static constexpr wchar_t kFilesThere[] = L"the setup files would not be there yet";
  constexpr struct {
    Phase earlier;
    Phase later;
    const wchar_t* reason;
  } kRules[] = {
      {Phase::kSearch, Phase::kDownload, kSearched},
      {Phase::kSearch, Phase::kExtract, kSearched},
      {Phase::kSearch, Phase::kInstall, kSearched},
      {Phase::kDownload, Phase::kInstall, kFilesThere},
      {Phase::kDownload, Phase::kInstallPost, kFilesThere},
      {Phase::kExtract, Phase::kInstall, kFilesThere},
      {Phase::kExtract, Phase::kInstallPost, kFilesThere},
      {Phase::kInstall, Phase::kVerify, L"every prerequisite would still be missing"},
  };
  for (const auto& [earlier, later, reason] : kRules) {
    const ScheduledAction* const first = sequence.First(earlier);
    const ScheduledAction* const second = sequence.First(later);
    if (first == nullptr || second == nullptr || first->number < second->number) continue;
    // Said of the sequence as a whole: the search that comes late may be the second one, which has
    // to stay where it is.
    if (earlier == Phase::kSearch && InstallsUnsearched(needs, sequence)) continue;
    context.report->Add(kWrongOrder, At(sequence, *first), {second->name, reason});
  }
  const ScheduledAction* const clean = sequence.Last(Phase::kClean);
  for (const Phase phase : kRowPhases) {
    const ScheduledAction* const last = sequence.Last(phase);
    if (clean == nullptr || last == nullptr || last->number < clean->number) continue;
    context.report->Add(kCleanedEarly, At(sequence, *clean), {last->name});
    break;
  }
}

void CheckSearched(const Context& context, const RowNeeds& needs, const Sequence& sequence) {
  if (!needs.conditions_use_searches) return;
  const ScheduledAction* const install = sequence.First(Phase::kInstall);
  if (InstallsUnsearched(needs, sequence)) {
    context.report->Add(kNotSearched, At(sequence, *install));
    return;
  }
  const ScheduledAction* const verify = sequence.First(Phase::kVerify);
  if (install == nullptr || verify == nullptr || install->number > verify->number) return;
  const bool is_between = std::any_of(
      sequence.actions().begin(), sequence.actions().end(), [&](const ScheduledAction& one) {
        return one.phase == Phase::kSearch && one.number > install->number &&
               one.number < verify->number;
      });
  if (!is_between) {
    context.report->Add(kNotSearchedAgain, At(sequence, *verify), {install->name});
  }
}

void CheckCosting(const Context& context, const Sequence& sequence) {
  const ScheduledAction* const costing = sequence.Find(L"CostFinalize");
  std::vector<std::wstring> early;
  for (const Phase phase : kRowPhases) {
    const ScheduledAction* const action = sequence.First(phase);
    if (action == nullptr || (costing != nullptr && costing->number < action->number)) continue;
    early.push_back(action->name);
  }
  if (early.empty()) return;
  context.report->Add(costing != nullptr ? kBeforeCosting : kNoCosting, {sequence.table(), {}, {}},
                      {Listed(early)});
}

void CheckSides(const Context& context, const Sequence& sequence, const wchar_t* product_action) {
  const ScheduledAction* const product = sequence.Find(product_action);
  if (product == nullptr) return;
  const ScheduledAction* const install = sequence.Last(Phase::kInstall);
  if (install != nullptr && install->number > product->number) {
    context.report->Add(kAfterProduct, At(sequence, *install), {product_action});
  }
  const ScheduledAction* const post = sequence.First(Phase::kInstallPost);
  if (post != nullptr && post->number < product->number) {
    context.report->Add(kBeforeProduct, At(sequence, *post), {product_action});
  }
  const ScheduledAction* const verify = sequence.First(Phase::kVerify);
  if (verify != nullptr && install != nullptr && install->number < product->number &&
      verify->number > product->number) {
    context.report->Add(kVerifiedTooLate, At(sequence, *verify), {product_action});
  }
}

void CheckCleaned(const Context& context, const Sequence& sequence) {
  const bool is_ui = sequence.table() == context.schedule.user_interface.table();
  const ScheduledAction* const install = sequence.Last(Phase::kInstall);
  const ScheduledAction* const any =
      install != nullptr ? install : sequence.First(Phase::kInstallPost);
  if (any == nullptr) return;
  const ScheduledAction* const at_end = sequence.AtEnd(kAtSuccess);
  const bool cleans_at_end = at_end != nullptr && at_end->phase == Phase::kClean;
  if (sequence.First(Phase::kClean) == nullptr && !cleans_at_end &&
      !(is_ui && context.schedule.DialogsStart(Phase::kClean))) {
    context.report->Add(kNotCleaned, At(sequence, *any));
    return;
  }
  for (const int number : {kAtFailure, kWhenGivenUp}) {
    const ScheduledAction* const end = sequence.AtEnd(number);
    // A dialog takes the place of an action there and can start it itself.
    const bool is_cleaned =
        end != nullptr &&
        (end->phase == Phase::kClean || context.schedule.DialogStarts(end->name, Phase::kClean));
    if (is_cleaned) continue;
    context.report->Add(kNotCleanedAtEnd, {sequence.table(), {}, {}},
                        {number == kAtFailure ? L"fails (-3)" : L"is given up (-2)"});
  }
}

void CheckConditions(const Context& context, const Sequence& sequence) {
  for (const ScheduledAction& action : sequence.actions()) {
    if (!action.phase || context.package.Evaluate(action.condition) != MSICONDITION_ERROR) continue;
    context.report->Add(kBadActionCondition, {sequence.table(), action.name, L"Condition"},
                        {action.condition});
  }
}

}  // namespace

void CheckSequences(const Context& context) {
  const RowNeeds needs = ReadRowNeeds(context);
  CheckScheduled(context, needs);
  CheckConditions(context, context.schedule.user_interface);
  CheckConditions(context, context.schedule.execute);
  for (const Road& road : AllRoads()) {
    const Sequence ui = context.roads.UserInterface(road);
    const Sequence execute = context.roads.Execute(road);
    for (const Sequence* sequence : {&ui, &execute}) {
      const wchar_t* const product = sequence == &ui ? L"ExecuteAction" : L"InstallFinalize";
      CheckOrder(context, needs, *sequence);
      CheckSearched(context, needs, *sequence);
      CheckCosting(context, *sequence);
      CheckSides(context, *sequence, product);
      if (road.IsInstallation()) CheckCleaned(context, *sequence);
    }
  }
  const Sequence& ui = context.schedule.user_interface;
  if (!ui.actions().empty() && ui.Find(L"ExecuteAction") == nullptr) {
    context.report->Add(kProductNotInstalled, {ui.table(), {}, {}});
  }
}

}  // namespace check
