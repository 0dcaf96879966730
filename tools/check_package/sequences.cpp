#include <algorithm>
#include <iterator>

#include "appsearch/app_search_runner.h"
#include "checks.h"
#include "conditions.h"
#include "prereq/rows.h"
#include "util/text.h"

namespace check {
namespace {

constexpr Kind kNotScheduled{L"PRE501", Severity::kError};
constexpr Kind kNotVerified{L"PRE502", Severity::kWarning};
constexpr Kind kNotCleaned{L"PRE503", Severity::kError};
constexpr Kind kWrongOrder{L"PRE504", Severity::kError};
constexpr Kind kNotSearched{L"PRE505", Severity::kError};
constexpr Kind kNotSearchedAgain{L"PRE506", Severity::kWarning};
constexpr Kind kBeforeCosting{L"PRE507", Severity::kError};
constexpr Kind kWrongSideOfProduct{L"PRE508", Severity::kError};
constexpr Kind kNoSourceFolder{L"PRE509", Severity::kWarning};
constexpr Kind kBadCondition{L"PRE510", Severity::kError};
constexpr Kind kAskedTwice{L"PRE511", Severity::kWarning};
constexpr Kind kNotWhenSilent{L"PRE512", Severity::kWarning};
constexpr Kind kNotWithInterface{L"PRE513", Severity::kError};
constexpr Kind kProductNotInstalled{L"PRE514", Severity::kError};

constexpr int kSilent = 2;
constexpr int kFullInterface = 5;

constexpr Phase kRowPhases[] = {Phase::kDownload, Phase::kExtract, Phase::kInstall,
                                Phase::kInstallPost, Phase::kVerify};

const wchar_t* ExportOf(Phase phase) {
  switch (phase) {
    case Phase::kSearch:
      return L"DoAppSearchEx";
    case Phase::kDownload:
      return L"DownloadPrereq";
    case Phase::kExtract:
      return L"ExtractPrereq";
    case Phase::kInstall:
      return L"InstallPrereq";
    case Phase::kInstallPost:
      return L"InstallPostPrereq";
    case Phase::kVerify:
      return L"VerifyPrereq";
    case Phase::kClean:
      return L"CleanPrereq";
  }
  return L"";
}

std::wstring At(const Sequence& sequence, const ScheduledAction& action) {
  return Row(sequence.table(), action.name);
}

// What the rows of the package ask for.
struct Needs {
  bool download = false;
  bool beside = false;  // Setup files beside the package.
  bool extract = false;
  bool before_product = false;
  bool after_product = false;
  bool search = false;
  bool conditions_use_searches = false;
};

bool SetsFilesInside(const Context& context) {
  return context.properties.IsSet(L"QX_FilesInsideExe");
}

Needs ReadNeeds(const Context& context) {
  Needs needs;
  for (const msi::TableRow& row : context.package.Rows(prereq::kPrerequisiteTable)) {
    const prereq::Location location = prereq::ReadPrerequisite(row).location;
    if (location != prereq::Location::kDownloaded && location != prereq::Location::kCarried)
      continue;
    needs.download |= location == prereq::Location::kDownloaded;
    needs.beside |= location == prereq::Location::kCarried &&
                    context.package.DefaultOf(L"QX_FilesInsideExe").empty();
    needs.extract |= location == prereq::Location::kCarried && SetsFilesInside(context);
    const bool after = prereq::ReadPrerequisite(row).is_after_product;
    (after ? needs.after_product : needs.before_product) = true;
    for (const std::wstring& name : PropertiesInCondition(row.Get(L"MissingCondition"))) {
      needs.conditions_use_searches |= context.properties.IsFoundBySearch(name);
    }
  }
  needs.search = !context.package.Rows(appsearch::kSearchTable).empty();
  return needs;
}

void CheckScheduled(const Context& context, const Needs& needs) {
  const struct {
    bool needed;
    Phase phase;
    const Kind& kind;
    const wchar_t* text;
  } rules[] = {
      {needs.search, Phase::kSearch, kNotScheduled, L"no row of QX_AppSearchEx is searched"},
      {needs.download, Phase::kDownload, kNotScheduled, L"rows with Location 1 are not downloaded"},
      {needs.extract, Phase::kExtract, kNotScheduled,
       L"rows with Location 0 are not unpacked, though QX_FilesInsideExe is set"},
      {needs.before_product, Phase::kInstall, kNotScheduled, L"no row without p is installed"},
      {needs.after_product, Phase::kInstallPost, kNotScheduled, L"no row with p is installed"},
      {needs.before_product, Phase::kVerify, kNotVerified,
       L"nobody is told when a prerequisite is still missing"},
  };
  for (const auto& [needed, phase, kind, text] : rules) {
    if (!needed || context.schedule.Runs(phase)) continue;
    context.report->Add(kind, L"",
                        std::wstring(L"no action that calls ") + ExportOf(phase) +
                            L" is in InstallUISequence or InstallExecuteSequence: " + text);
  }
}

// True when the conditions of the rows would be judged by what nobody has searched for.
bool InstallsUnsearched(const Needs& needs, const Sequence& sequence) {
  const ScheduledAction* const search = sequence.First(Phase::kSearch);
  const ScheduledAction* const install = sequence.First(Phase::kInstall);
  return needs.conditions_use_searches && install != nullptr &&
         (search == nullptr || search->number > install->number);
}

// `earlier` before `later`, where both are scheduled.
void CheckOrder(const Context& context, const Needs& needs, const Sequence& sequence) {
  constexpr struct {
    Phase earlier;
    Phase later;
    const wchar_t* reason;
  } kRules[] = {
      {Phase::kSearch, Phase::kDownload, L"the conditions of the rows depend on what is found"},
      {Phase::kSearch, Phase::kExtract, L"the conditions of the rows depend on what is found"},
      {Phase::kSearch, Phase::kInstall, L"the conditions of the rows depend on what is found"},
      {Phase::kDownload, Phase::kInstall, L"the setup files would not be there yet"},
      {Phase::kDownload, Phase::kInstallPost, L"the setup files would not be there yet"},
      {Phase::kExtract, Phase::kInstall, L"the setup files would not be there yet"},
      {Phase::kExtract, Phase::kInstallPost, L"the setup files would not be there yet"},
      {Phase::kInstall, Phase::kVerify, L"every prerequisite would still be missing"},
  };
  for (const auto& [earlier, later, reason] : kRules) {
    const ScheduledAction* const first = sequence.First(earlier);
    const ScheduledAction* const second = sequence.First(later);
    if (first == nullptr || second == nullptr || first->number < second->number) continue;
    // Said of the sequence as a whole: the search that comes late may be the second one, which has
    // to stay where it is.
    if (earlier == Phase::kSearch && InstallsUnsearched(needs, sequence)) continue;
    context.report->Add(
        kWrongOrder, At(sequence, *first),
        L"it runs after " + second->name + L", but has to run before it: " + reason);
  }
  const ScheduledAction* const clean = sequence.Last(Phase::kClean);
  for (const Phase phase : kRowPhases) {
    const ScheduledAction* const last = sequence.Last(phase);
    if (clean == nullptr || last == nullptr || last->number < clean->number) continue;
    context.report->Add(
        kWrongOrder, At(sequence, *clean),
        L"it runs before " + last->name +
            L", but has to be the last of the "
            L"library's actions: what comes later would find the setup files deleted, "
            L"or leave them and the start after a restart behind");
    break;
  }
}

void CheckSearched(const Context& context, const Needs& needs, const Sequence& sequence) {
  if (!needs.conditions_use_searches) return;
  const ScheduledAction* const install = sequence.First(Phase::kInstall);
  if (InstallsUnsearched(needs, sequence)) {
    context.report->Add(
        kNotSearched, At(sequence, *install),
        L"nothing is searched before it in this sequence, so every prerequisite "
        L"counts as missing. Schedule QX_AppSearchEx here too, before the library's "
        L"other actions");
    return;
  }
  const ScheduledAction* const verify = sequence.First(Phase::kVerify);
  if (install == nullptr || verify == nullptr || install->number > verify->number) return;
  const bool is_between = std::any_of(
      sequence.actions().begin(), sequence.actions().end(), [&](const ScheduledAction& one) {
        return one.phase == Phase::kSearch && one.number > install->number &&
               one.number < verify->number;
      });
  if (is_between) return;
  context.report->Add(kNotSearchedAgain, At(sequence, *verify),
                      L"nothing is searched again between " + install->name +
                          L" and it, so it judges by what was there at the start and asks about "
                          L"everything that has just been installed. The kit has QX_SearchAgain "
                          L"for this");
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
  context.report->Add(kBeforeCosting, sequence.table(),
                      Listed(early) +
                          (costing != nullptr ? L": not after CostFinalize"
                                              : L": there is no CostFinalize before them") +
                          L", so the installer does not know yet which features will be "
                          L"installed, and no row is handled");
}

void CheckPlaces(const Context& context, const Needs& needs, const Sequence& sequence,
                 const wchar_t* product_action) {
  CheckCosting(context, sequence);
  const ScheduledAction* const product = sequence.Find(product_action);
  const ScheduledAction* const install = sequence.Last(Phase::kInstall);
  const ScheduledAction* const post = sequence.First(Phase::kInstallPost);
  if (product != nullptr && install != nullptr && install->number > product->number) {
    context.report->Add(kWrongSideOfProduct, At(sequence, *install),
                        std::wstring(L"it comes after ") + product_action +
                            L", so the product is installed before what it needs");
  }
  if (product != nullptr && post != nullptr && post->number < product->number) {
    context.report->Add(kWrongSideOfProduct, At(sequence, *post),
                        std::wstring(L"it comes before ") + product_action +
                            L", so the rows with p are installed before the product, not after it");
  }
  const ScheduledAction* const source = sequence.Find(L"ResolveSource");
  if (needs.beside && install != nullptr &&
      (source == nullptr || source->number > install->number)) {
    context.report->Add(kNoSourceFolder, At(sequence, *install),
                        L"ResolveSource does not come before it. Only that tells where the package "
                        L"lies: without it the rows with Location 0 are found only when a setup "
                        L"executable gives QX_SETUPEXEPATH. Schedule it with NOT Installed");
  }
  const ScheduledAction* const any = install != nullptr ? install : post;
  if (any != nullptr && sequence.First(Phase::kClean) == nullptr) {
    context.report->Add(kNotCleaned, At(sequence, *any),
                        L"no action that calls CleanPrereq comes after it in this sequence: the "
                        L"setup files stay, and the package is started again at every logon");
  }
}

bool IsMalformed(const Context& context, const ScheduledAction& action) {
  return context.package.Evaluate(action.condition) == MSICONDITION_ERROR;
}

void CheckConditions(const Context& context, const Sequence& sequence) {
  for (const ScheduledAction& action : sequence.actions()) {
    if (!action.phase || !IsMalformed(context, action)) continue;
    context.report->Add(kBadCondition, At(sequence, action) + L", column Condition",
                        Quoted(action.condition) +
                            L" is no condition that the installer understands: the installation "
                            L"stops there");
  }
}

bool Runs(const Context& context, const ScheduledAction& action, int ui_level) {
  const auto state = context.package.EvaluateAt(ui_level, action.condition);
  return state == MSICONDITION_TRUE || state == MSICONDITION_NONE;
}

// A condition on properties of the author's own may well tell the two sequences apart.
bool UsesOwnProperties(const std::wstring& condition) {
  const std::vector<std::wstring> names = PropertiesInCondition(condition);
  return std::any_of(names.begin(), names.end(),
                     [](const std::wstring& name) { return !KnownProperties::IsInstallers(name); });
}

// Each prompt once, and on every road: with the user interface both sequences run, without one the
// second alone.
void CheckRoads(const Context& context) {
  if (context.package.session() == nullptr) return;
  std::vector<std::wstring> missed_when_silent;
  std::vector<std::wstring> missed_with_interface;
  for (const Phase phase : kRowPhases) {
    const ScheduledAction* const first = context.schedule.user_interface.First(phase);
    const ScheduledAction* const second = context.schedule.execute.First(phase);
    if (first != nullptr && second == nullptr) missed_when_silent.push_back(first->name);
    // When a condition that stops the installation would let it run, nobody knows.
    if (second == nullptr || UsesOwnProperties(second->condition) ||
        IsMalformed(context, *second)) {
      continue;
    }
    const bool runs_with_interface = Runs(context, *second, kFullInterface);
    if (!Runs(context, *second, kSilent)) missed_when_silent.push_back(second->name);
    if (first == nullptr && !runs_with_interface) missed_with_interface.push_back(second->name);
    if (first != nullptr && runs_with_interface && !second->runs_once) {
      context.report->Add(kAskedTwice,
                          At(context.schedule.execute, *second) + L", column Condition",
                          L"with a user interface it runs in InstallUISequence and here again, so "
                          L"users are asked everything twice. The kit's condition UILevel<4 keeps "
                          L"it to silent installations");
    }
  }
  if (!missed_when_silent.empty()) {
    context.report->Add(kNotWhenSilent, context.schedule.execute.table(),
                        Listed(missed_when_silent) +
                            L": not run there by an installation without a user interface (/qn), "
                            L"which runs this sequence alone");
  }
  if (!missed_with_interface.empty()) {
    context.report->Add(kNotWithInterface, context.schedule.user_interface.table(),
                        Listed(missed_with_interface) +
                            L": not scheduled here, and the condition in InstallExecuteSequence "
                            L"keeps it from running there with a user interface: users who double-"
                            L"click the package get no prerequisites");
  }
}

}  // namespace

void CheckSequences(const Context& context) {
  const Needs needs = ReadNeeds(context);
  CheckScheduled(context, needs);
  const struct {
    const Sequence& sequence;
    const wchar_t* product_action;
  } sequences[] = {{context.schedule.user_interface, L"ExecuteAction"},
                   {context.schedule.execute, L"InstallFinalize"}};
  for (const auto& [sequence, product_action] : sequences) {
    CheckOrder(context, needs, sequence);
    CheckSearched(context, needs, sequence);
    CheckPlaces(context, needs, sequence, product_action);
    CheckConditions(context, sequence);
  }
  CheckRoads(context);
  const Sequence& ui = context.schedule.user_interface;
  if (!ui.actions().empty() && ui.Find(L"ExecuteAction") == nullptr) {
    context.report->Add(kProductNotInstalled, ui.table(),
                        L"ExecuteAction is not scheduled, so with a user interface the product is "
                        L"never installed. A package that had no rows here before needs the "
                        L"installer's own too: CostInitialize, FileCost, CostFinalize, "
                        L"ExecuteAction");
  }
}

}  // namespace check
