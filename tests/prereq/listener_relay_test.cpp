#include "prereq/listener_relay.h"

#include <doctest.h>

#include "support/worker.h"

// Without a session nothing is shown, and nobody cancels.
TEST_CASE("a worker that cannot be waited for is told to cancel and not held up") {
  const msi::InstallerSession none(0);
  prereq::ProgressReporter reporter(none);
  prereq::ListenerRelay relay(&reporter);
  bool was_told = false;
  const util::UniqueKernelHandle ended(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const test::Worker worker([&] {
    relay.OnProgress(1);  // May come before or after.
    while (!relay.IsCancelled()) ::Sleep(1);
    relay.OnError(0, 5);
    was_told = true;
    ::SetEvent(ended.Get());
  });
  CHECK(relay.Forward(nullptr) == ERROR_INVALID_HANDLE);
  REQUIRE(::WaitForSingleObject(ended.Get(), 5000) == WAIT_OBJECT_0);
  CHECK(was_told);
}
