#include "util/unique_handle.h"

#include <doctest.h>

#include <string>

namespace {

std::string g_closed;

struct LetterTraits {
  using Handle = char;
  static Handle Invalid() { return '-'; }
  static bool IsValid(Handle handle) { return handle != '-'; }
  static void Close(Handle handle) {
    g_closed += handle;
    ::SetLastError(ERROR_INVALID_HANDLE);
  }
};
using Letter = util::UniqueHandle<LetterTraits>;

}  // namespace

TEST_CASE("a handle is closed exactly once and the last error survives it") {
  ::SetLastError(ERROR_DISK_FULL);
  {
    Letter first('1');
    Letter second(std::move(first));
    CHECK_FALSE(first);
    CHECK(second.Get() == '1');
    Letter third('3');
    third = std::move(second);
    CHECK(g_closed == "3");
    *third.Receive() = '4';
    CHECK(g_closed == "31");
    CHECK(third.Release() == '4');
    CHECK_FALSE(third);
    third.Reset('\0');  // A handle like any other.
    CHECK(third);
    const Letter empty;
  }
  CHECK(g_closed == std::string("31\0", 3));
  CHECK(::GetLastError() == ERROR_DISK_FULL);
}
