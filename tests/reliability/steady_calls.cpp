// Every custom action again and again in one process: what the process holds stays the same.

#include <doctest.h>

#include <string>

#include "reliability/busy_session.h"
#include "reliability/part.h"
#include "reliability/process_figures.h"

using test::BusySession;
using test::Part;
using test::ProcessFigures;

TEST_CASE("calls") {
  for (const auto& [action, lost_bytes] : test::kCustomActions) {
    BusySession session;
    Part part(std::string("calls of ") + action, 1000);
    // Until pools and caches of the system are as large as they get.
    const uint32_t warm_up = part.runs() / 5;
    uint32_t calls = 0;
    ProcessFigures start;
    part.ForEachRun([&](test::Random*) {
      if (calls++ == warm_up) start = ProcessFigures::Take();
      const bool worked =
          session.Run(action, [&] { return test::CallExport(action, session.handle()); });
      part.FaultIf(!worked, std::string(action) + " did not do its work");
    });
    CheckSteady(&part, start, ProcessFigures::Take(), uint64_t{lost_bytes} * (calls - warm_up));
    const UINT leaked = session.CountLeakedHandles();
    part.FaultIf(leaked != 0, std::to_string(leaked) + " installer handles left open");
  }
}
