// Short stand-ins for parts of the run-time library that would drag in its exception, locale and
// demangler code, more than the library itself. Linked into Prereq.dll of every build, never into
// test programs.
//
// The library ships without exceptions: nothing in it throws or catches, and one that left an
// export would end the process before anything was undone. What the run-time library would throw
// ends it here.

// The names belong to the run-time library: NOLINTBEGIN(bugprone-reserved-identifier).

#include <windows.h>

#include <cstdlib>
#include <new>

namespace {

// Without a box, which nobody would see in an installation without a user interface, and without
// the code that runs at an ordinary end.
[[noreturn]] void End(UINT exit_code) {
  for (;;) ::TerminateProcess(::GetCurrentProcess(), exit_code);
}
[[noreturn]] void EndWithoutMemory() { End(ERROR_NOT_ENOUGH_MEMORY); }
[[noreturn]] void EndAfterFault() { End(ERROR_INTERNAL_ERROR); }

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) EndWithoutMemory();
  return memory;
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

extern "C" void __cxa_pure_virtual() { EndAfterFault(); }

namespace std {

// What the containers would throw when they are asked for the impossible.
void __throw_length_error(const char*) { EndWithoutMemory(); }
void __throw_out_of_range(const char*) { EndAfterFault(); }
void __throw_out_of_range_fmt(const char*, ...) { EndAfterFault(); }
void __throw_logic_error(const char*) { EndAfterFault(); }
void __throw_bad_alloc() { EndWithoutMemory(); }
void __throw_bad_array_new_length() { EndWithoutMemory(); }
void __throw_bad_optional_access() { EndAfterFault(); }

}  // namespace std
// NOLINTEND(bugprone-reserved-identifier)
