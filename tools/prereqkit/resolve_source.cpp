// The installer's action that says where the package lies. It asks for the medium when that is
// gone, so it runs only while a setup that lies beside the package is missing.

#include <algorithm>

#include "require.h"
#include "sequence.h"
#include "util/text.h"

namespace kit {
namespace {

constexpr wchar_t kResolveSource[] = L"ResolveSource";
constexpr size_t kConditionChars = 255;

// True while one of the setups beside the package is missing; empty when there is none of them.
std::wstring SourceCondition(const Job& job, const std::wstring& once) {
  const Table rows = job.database.Read(L"QX_PreRequisite");
  const std::wstring always = (once.empty() ? L"" : once + L" AND ") + kNotRemoved;
  std::wstring missing;
  bool is_needed = false;
  bool is_always_missing = false;
  for (size_t i = 0; i < rows.rows.size(); ++i) {
    const std::wstring location = rows.Get(i, L"Location");
    if (location != L"0" && !location.empty()) continue;
    is_needed = true;
    const std::wstring condition = rows.Get(i, L"MissingCondition");
    if (condition.empty()) is_always_missing = true;
    missing += (missing.empty() ? L"" : L" OR ") + (L"(" + condition + L")");
  }
  if (!is_needed) return {};
  const std::wstring exact = always + L" AND (" + missing + L")";
  return is_always_missing || exact.size() > kConditionChars ? always : exact;
}

void SayOfTheirs(const Job& job, const wchar_t* table, const Sequence& sequence) {
  const int install = sequence.NumberOf(kInstall);
  if (sequence.NumberOf(kResolveSource) > install) {
    job.report.ToDo(
        std::wstring(table) +
        L": ResolveSource comes behind QX_InstallPrerequisite, which then does not find "
        L"setups beside the package; put it before");
  }
  const std::wstring condition = sequence.ConditionOf(kResolveSource);
  if (condition.find(L"Installed") != condition.npos) {
    job.report.ToDo(std::wstring(table) + L": ResolveSource has the condition \"" + condition +
                    L"\": a repair does not find setups beside the package. Take the condition "
                    L"NOT REMOVE~=\"ALL\"");
  }
}

}  // namespace

void UpdateResolveSource(const Job& job) {
  job.edits.SetGroup({});
  for (const bool is_ui : {true, false}) {
    if (is_ui && !HasUiSequence(job.database)) continue;
    const wchar_t* const table = is_ui ? kUiSequence : kExecuteSequence;
    const Cells key = {{L"Action", kResolveSource}};
    Sequence sequence(job.database, &job.edits, &job.report, table);
    const std::wstring condition = SourceCondition(job, OnceCondition(job.database, is_ui));
    if (condition.empty()) {
      job.edits.TakeOutRow(table, key);
    } else if (sequence.NumberOf(kResolveSource) > 0 && !job.edits.WasPut(table, key)) {
      SayOfTheirs(job, table, sequence);
    } else if (job.edits.WasPut(table, key)) {
      sequence.Schedule(kResolveSource, condition, 0);
    } else {
      // Its place is among the costing actions, behind the first of them.
      const std::vector<int> room = sequence.MakeRoom(sequence.NumberOf(L"CostInitialize"), 1);
      if (!room.empty()) sequence.Schedule(kResolveSource, condition, room.front());
    }
  }
}

}  // namespace kit
