#ifndef TESTS_ENTRY_SCENARIO_H_
#define TESTS_ENTRY_SCENARIO_H_

#include <functional>
#include <map>
#include <string>

#include "support/action_fixture.h"

namespace test {

// Texts that a scenario names in braces.
using Words = std::map<std::wstring, std::wstring>;

// Runs every case of `tests/<file>`; tests/entry/README.md says how they are written. `words` come
// to the words that every scenario has.
void RunScenarios(const char* file, const Words& words = {});

}  // namespace test

#endif  // TESTS_ENTRY_SCENARIO_H_
