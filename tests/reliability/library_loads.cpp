// The library loaded and unloaded again and again, as the installer does for every action: it
// leaves nothing behind, and it really goes.

#include <windows.h>

#include <doctest.h>

#include <iterator>
#include <string>

#include "reliability/busy_session.h"
#include "reliability/part.h"
#include "reliability/process_figures.h"
#include "support/temp_folder.h"

using test::BusySession;
using test::Part;
using test::ProcessFigures;

TEST_CASE("loads and unloads") {
  BusySession session;
  Part part("loads and unloads", 200);
  const std::wstring path = test::ProgramFolder() + L"\\Prereq.dll";
  const uint32_t warm_up = part.runs() / 5;
  uint32_t loads = 0;
  uint64_t lost_bytes = 0;
  ProcessFigures start;
  part.ForEachRun([&](test::Random*) {
    if (loads == warm_up) {
      start = ProcessFigures::Take();
      lost_bytes = 0;
    }
    const auto& [action, lost_by_action] =
        test::kCustomActions[loads++ % std::size(test::kCustomActions)];
    lost_bytes += lost_by_action;
    const HMODULE library = ::LoadLibraryW(path.c_str());
    auto* const address = reinterpret_cast<void*>(::GetProcAddress(library, action));
    if (address == nullptr) return part.Fault("the library does not load");
    const bool worked = session.Run(action, [&] {
      return reinterpret_cast<UINT(WINAPI*)(MSIHANDLE)>(address)(session.handle());
    });
    part.FaultIf(!worked, std::string(action) + " did not do its work");
    part.FaultIf(!::FreeLibrary(library) || ::GetModuleHandleW(L"Prereq.dll") != nullptr,
                 "the library does not leave");
  });
  CheckSteady(&part, start, ProcessFigures::Take(), lost_bytes);
  const UINT leaked = session.CountLeakedHandles();
  part.FaultIf(leaked != 0, std::to_string(leaked) + " installer handles left open");
}
