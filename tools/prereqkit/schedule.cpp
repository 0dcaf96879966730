// When the actions run: numbers from the package's own.

#include <algorithm>
#include <climits>
#include <initializer_list>

#include "join.h"
#include "sequence.h"
#include "util/text.h"

namespace kit {
namespace {

constexpr int kCancelled = -2;  // The installer's termination flags.
constexpr int kFailed = -3;

struct Action {
  const wchar_t* name;
  std::wstring condition;
};

std::wstring And(const std::wstring& one, const std::wstring& other) {
  if (one.empty() || other.empty()) return one + other;
  return one + L" AND " + other;
}

// The searches come behind the package's own, before anything looks at what was found.
void ScheduleSearch(Sequence* sequence, int latest) {
  int after = sequence->NumberOf(L"AppSearch");
  int limit = latest;
  for (const wchar_t* action : {L"LaunchConditions", L"CostInitialize"}) {
    const int number = sequence->NumberOf(action);
    if (number > after) limit = std::min(limit, number);
  }
  if (after == 0) after = sequence->LastBelow(limit);
  int number = sequence->FreeAbove(after);
  if (number >= limit && sequence->NumberOf(kSearch) == 0) {
    const std::vector<int> room = sequence->MakeRoom(after, 1);
    if (room.empty()) return;
    number = room.front();
  }
  sequence->Schedule(kSearch, kNotRemoved, number);
}

// Schedules actions one behind the other, behind a number.
void ScheduleBlock(Sequence* sequence, int after, const std::vector<Action>& actions) {
  std::vector<int> numbers;
  if (std::any_of(actions.begin(), actions.end(),
                  [&](const Action& one) { return sequence->IsMissing(one.name); })) {
    numbers = sequence->MakeRoom(after, actions.size());
    if (numbers.empty()) return;
  }
  for (size_t i = 0; i < actions.size(); ++i) {
    const int number = numbers.empty() ? 0 : numbers[i];
    sequence->Schedule(actions[i].name, actions[i].condition, number);
  }
}

// The number before which the prerequisites have to be there; 0 when the product has none.
int ProductNumber(const Sequence& sequence) {
  for (const wchar_t* action : {L"ExecuteAction", L"InstallValidate", L"InstallInitialize"}) {
    if (const int number = sequence.NumberOf(action); number > 0) return number;
  }
  return 0;
}

void ScheduleIn(const Job& job, const wchar_t* table, bool is_ui, bool verify_after) {
  Sequence sequence(job.database, &job.edits, &job.report, table);
  const std::wstring once = OnceCondition(job.database, is_ui);
  const std::wstring condition = And(once, kNotRemoved);
  const int costed = sequence.NumberOf(L"CostFinalize");
  if (costed <= 0) {
    job.report.Refuse(std::wstring(table) +
                      L" has no CostFinalize: the installer would not know which features "
                      L"are going to be installed");
    return;
  }
  ScheduleSearch(&sequence, costed);
  const std::vector<Action> verification = {{kSearchAgain, condition}, {kVerify, condition}};
  std::vector<Action> before = {
      {kDownload, condition}, {kExtract, condition}, {kInstall, condition}};
  std::vector<Action> behind = {{kInstallPost, condition}};
  std::vector<Action>& verified = verify_after ? behind : before;
  verified.insert(verified.end(), verification.begin(), verification.end());
  behind.push_back({kClean, once});
  behind.push_back({kTakeBack, once});
  const int product = ProductNumber(sequence);
  ScheduleBlock(&sequence, product > costed ? sequence.LastBelow(product) : costed, before);
  ScheduleBlock(&sequence, sequence.Last(), behind);
}

// One of the buttons that end a dialog cleans up first.
void CleanUpAtButton(const Job& job, const Table& events, const std::wstring& dialog,
                     const std::wstring& button, const wchar_t* action) {
  const Cells key = {{L"Dialog_", dialog},
                     {L"Control_", button},
                     {L"Event", L"DoAction"},
                     {L"Argument", action},
                     {L"Condition", L"1"}};
  if (job.edits.WasPut(L"ControlEvent", key)) return;
  const auto is_of_button = [&](size_t row) {
    return events.Get(row, L"Dialog_") == dialog && events.Get(row, L"Control_") == button;
  };
  int first = INT_MAX;
  for (size_t i = 0; i < events.rows.size(); ++i) {
    if (is_of_button(i)) {
      first = std::min(first, util::ParseDecimal<int>(events.Get(i, L"Ordering")));
    }
  }
  for (size_t i = 0; first == 0 && i < events.rows.size(); ++i) {
    if (!is_of_button(i)) continue;
    const int order = util::ParseDecimal<int>(events.Get(i, L"Ordering"));
    job.edits.ChangeCell(L"ControlEvent", events.KeyOf(i), L"Ordering",
                         util::ToSignedDecimal(order + 1));
  }
  job.edits.PutRow(L"ControlEvent", key, {{L"Ordering", L"0"}},
                   L"ControlEvent " + dialog + L"/" + button + L" DoAction " + action);
}

void CleanUpAtDialog(const Job& job, const std::wstring& dialog, const wchar_t* action) {
  const Table events = job.database.Read(L"ControlEvent");
  std::vector<std::wstring> buttons;
  for (size_t i = 0; i < events.rows.size(); ++i) {
    const std::wstring button = events.Get(i, L"Control_");
    if (events.Get(i, L"Dialog_") == dialog && events.Get(i, L"Event") == L"EndDialog" &&
        std::find(buttons.begin(), buttons.end(), button) == buttons.end()) {
      buttons.push_back(button);
    }
  }
  for (const std::wstring& button : buttons) {
    CleanUpAtButton(job, events, dialog, button, action);
  }
  if (buttons.empty()) {
    job.report.ToDo(L"the dialog " + dialog +
                    L" has no button that ends it; have it run the action " + action);
  }
}

}  // namespace

void ScheduleActions(const Job& job, bool verify_after) {
  if (HasUiSequence(job.database)) ScheduleIn(job, kUiSequence, true, verify_after);
  ScheduleIn(job, kExecuteSequence, false, verify_after);
}

void CleanUpAtExits(const Job& job) {
  const struct {
    int flag;
    const wchar_t* action;
  } ends[] = {{kCancelled, kCleanCancelled}, {kFailed, kCleanFailed}};
  for (const bool is_ui : {true, false}) {
    if (is_ui && !HasUiSequence(job.database)) continue;
    const wchar_t* const table = is_ui ? kUiSequence : kExecuteSequence;
    Sequence sequence(job.database, &job.edits, &job.report, table);
    for (const auto& [flag, action] : ends) {
      const std::wstring there = sequence.ActionAt(flag);
      if (there.empty() || there == action) {
        sequence.Schedule(action, OnceCondition(job.database, is_ui), flag);
      } else if (job.database.Has(L"Dialog", {{L"Dialog", there}})) {
        CleanUpAtDialog(job, there, action);
      } else {
        job.report.ToDo(std::wstring(table) + L" runs " + there + L" at " +
                        util::ToSignedDecimal(flag) +
                        L", and the installer runs one action there: have it run the action " +
                        action + L" too");
      }
    }
  }
}

}  // namespace kit
