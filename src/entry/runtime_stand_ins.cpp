// Short stand-ins for parts of the run-time library that would drag in its exception, locale and
// demangler code, more than the library itself. Linked into Prereq.dll of every build, never into
// test programs.
//
// The library ships without exceptions: nothing in it throws or catches, and one that left an
// export would end the process before anything was undone. What the run-time library would throw
// ends it here.

// The names belong to the run-time library: NOLINTBEGIN(bugprone-reserved-identifier).

#include <cstdlib>
#include <new>

void* operator new(std::size_t size) {
  void* const memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) std::abort();
  return memory;
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

extern "C" void __cxa_pure_virtual() { std::abort(); }

namespace std {

// What the containers would throw when they are asked for the impossible.
void __throw_length_error(const char*) { abort(); }
void __throw_out_of_range(const char*) { abort(); }
void __throw_out_of_range_fmt(const char*, ...) { abort(); }
void __throw_logic_error(const char*) { abort(); }
void __throw_bad_alloc() { abort(); }
void __throw_bad_array_new_length() { abort(); }
void __throw_bad_optional_access() { abort(); }

}  // namespace std
// NOLINTEND(bugprone-reserved-identifier)
