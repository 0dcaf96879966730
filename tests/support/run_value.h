#ifndef TESTS_SUPPORT_RUN_VALUE_H_
#define TESTS_SUPPORT_RUN_VALUE_H_

#include <string>

// The user's `Run` key, where an installation that goes on after a restart may be registered.
namespace test {

inline constexpr char kNoRunValue[] = "(none)";

// The text of the value; kNoRunValue when there is none, "(malformed)" when it is not a terminated
// text of at most 2000 characters.
std::string ReadRunValue(const std::wstring& name);

void WriteRunValue(const std::wstring& name);

// Does nothing without such a value.
void DeleteRunValue(const std::wstring& name);

// The scheduler's service runs when this returns, also where the library does not start it. A cold
// one of Wine's lets each call wait for seconds and then fails it.
void StartSchedulerService();

}  // namespace test

#endif  // TESTS_SUPPORT_RUN_VALUE_H_
