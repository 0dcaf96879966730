// Short stand-ins for parts of the run-time library that would drag in its locale, demangler and
// random device code, more than half of the library's size. Only the shipped library links them.

// The names belong to the run-time library: NOLINTBEGIN(bugprone-reserved-identifier).

#include <cstdlib>
#include <new>

namespace __gnu_cxx {
// In place of the handler that prints the name of an uncaught exception.
void __verbose_terminate_handler() { std::abort(); }
}  // namespace __gnu_cxx

namespace std {

// What the containers throw when they are asked for the impossible. Nobody reads the texts.
void __throw_length_error(const char*) { throw bad_alloc(); }
void __throw_out_of_range(const char*) { throw bad_alloc(); }
void __throw_out_of_range_fmt(const char*, ...) { throw bad_alloc(); }
void __throw_logic_error(const char*) { throw bad_alloc(); }
void __throw_bad_alloc() { throw bad_alloc(); }
void __throw_bad_array_new_length() { throw bad_alloc(); }

}  // namespace std
// NOLINTEND(bugprone-reserved-identifier)
