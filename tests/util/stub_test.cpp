#include <doctest.h>
TEST_CASE("none") { CHECK(1 + 1 == 2); }
