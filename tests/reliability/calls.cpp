// Every custom action again and again in one process, with the library loaded once or for each call
// as the installer does it: what the process holds stays the same, and the library really goes.

#include <doctest.h>

#include <iterator>
#include <string>

#include "reliability/busy_session.h"
#include "reliability/part.h"
#include "reliability/process_figures.h"
#include "support/temp_folder.h"

using test::BusySession;
using test::kCustomActions;
using test::Part;

namespace {

// The actions in turn. The first fifth of the runs is for pools and caches of the system to become
// as large as they get.
template <typename Call>
void RunActions(const std::string& name, uint32_t default_runs,
                std::initializer_list<test::CustomAction> actions, const Call& call) {
  BusySession session;
  Part part(name, default_runs);
  uint32_t runs = 0;
  uint64_t lost_bytes = 0;
  test::ProcessFigures start = {};
  part.ForEachRun([&](test::Random*) {
    if (runs == part.runs() / 5) {
      start = test::TakeFigures();
      lost_bytes = 0;
    }
    const auto& [action, lost_by_action] = actions.begin()[runs++ % actions.size()];
    lost_bytes += lost_by_action;
    const bool worked = session.Run(action, [&] { return call(&part, action, session.handle()); });
    part.FaultIf(!worked, std::string(action) + " did not do its work");
  });
  CheckSteady(&part, start, lost_bytes);
  const UINT leaked = session.CountLeakedHandles();
  part.FaultIf(leaked != 0, std::to_string(leaked) + " installer handles left open");
}

UINT LoadAndCall(Part* part, const char* action, MSIHANDLE install) {
  const HMODULE library = ::LoadLibraryW((test::ProgramFolder() + L"\\Prereq.dll").c_str());
  auto* const address = reinterpret_cast<void*>(::GetProcAddress(library, action));
  if (address == nullptr) return ERROR_MOD_NOT_FOUND;
  const UINT result = reinterpret_cast<UINT(WINAPI*)(MSIHANDLE)>(address)(install);
  part->FaultIf(!::FreeLibrary(library) || ::GetModuleHandleW(L"Prereq.dll") != nullptr,
                "the library does not leave");
  return result;
}

}  // namespace

TEST_CASE("calls") {
  for (const test::CustomAction& action : kCustomActions) {
    RunActions(
        std::string("calls of ") + action.name, 1000, {action},
        [](Part*, const char* name, MSIHANDLE install) { return test::CallExport(name, install); });
  }
}

TEST_CASE("loads and unloads") {
  RunActions("loads and unloads", 200, kCustomActions, LoadAndCall);
}
