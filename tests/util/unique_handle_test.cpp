#include "util/unique_handle.h"

#include <doctest.h>

#include <vector>

namespace {

std::vector<int> g_closed;

struct NumberTraits {
  using Handle = int;
  static Handle Invalid() { return -1; }
  static bool IsValid(Handle handle) { return handle != -1; }
  static void Close(Handle handle) {
    g_closed.push_back(handle);
    ::SetLastError(ERROR_INVALID_HANDLE);
  }
};
using Number = util::UniqueHandle<NumberTraits>;

}  // namespace

TEST_CASE("a handle is closed exactly once and the last error survives it") {
  using Closed = std::vector<int>;
  g_closed.clear();
  ::SetLastError(ERROR_DISK_FULL);
  {
    Number first(1);
    Number second(std::move(first));
    CHECK_FALSE(first);
    CHECK(second.Get() == 1);
    Number third(3);
    third = std::move(second);
    CHECK(g_closed == Closed{3});
    *third.Receive() = 4;
    CHECK(g_closed == Closed{3, 1});
    CHECK(third.Release() == 4);
    CHECK_FALSE(third);
    third.Reset(0);  // A handle like any other.
    CHECK(third);
    const Number empty;
  }
  CHECK(g_closed == Closed{3, 1, 0});
  CHECK(::GetLastError() == ERROR_DISK_FULL);
}
