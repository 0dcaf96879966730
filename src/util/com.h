#ifndef UTIL_COM_H_
#define UTIL_COM_H_

#include <windows.h>
#include <objbase.h>

#include "util/unique_handle.h"

namespace util {

// Owns one reference to a COM object.
template <typename Interface>
struct ComTraits {
  using Handle = Interface*;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle handle) { return handle != nullptr; }
  static void Close(Handle handle) { handle->Release(); }
};
template <typename Interface>
using UniqueCom = UniqueHandle<ComTraits<Interface>>;

// COM on this thread for the length of a scope. A thread that has it keeps its kind, one that does
// not gets a single-threaded apartment and gives it back. Make it before the objects that live in
// it.
class ComScope {
 public:
  // Fails on a thread of the other kind, which is as good for us and must not be undone.
  ComScope() : entered_(SUCCEEDED(::CoInitialize(nullptr))) {}
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;
  ~ComScope() {
    if (entered_) ::CoUninitialize();
  }

 private:
  bool entered_;
};

}  // namespace util

#endif  // UTIL_COM_H_
