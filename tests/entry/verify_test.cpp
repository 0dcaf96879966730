#include <doctest.h>

#include "entry/scenario.h"

TEST_CASE("verification") { test::RunScenarios("entry/verify.txt"); }
