#ifndef UTIL_UNIQUE_HANDLE_H_
#define UTIL_UNIQUE_HANDLE_H_

#include <windows.h>

#include <utility>

namespace util {

// Owns one system handle and closes it exactly once. Move-only. `Traits` names the handle type and
// says what empty means and how to close; see the traits below for the shape. Closing leaves
// GetLastError() as it was, so an owner may go out of scope between a failed call and its report.
template <typename Traits>
class UniqueHandle {
 public:
  using Handle = typename Traits::Handle;

  UniqueHandle() = default;
  explicit UniqueHandle(Handle handle) : handle_(handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.Release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    Reset(other.Release());
    return *this;
  }
  ~UniqueHandle() { Reset(); }

  [[nodiscard]] Handle Get() const { return handle_; }
  explicit operator bool() const { return Traits::IsValid(handle_); }

  // Gives the handle up without closing it.
  [[nodiscard]] Handle Release() { return std::exchange(handle_, Traits::Invalid()); }

  void Reset(Handle handle = Traits::Invalid()) {
    const Handle old = std::exchange(handle_, handle);
    if (!Traits::IsValid(old)) return;
    const DWORD error = ::GetLastError();
    Traits::Close(old);
    ::SetLastError(error);
  }

  // Closes what is held and lends the slot as an out-parameter.
  [[nodiscard]] Handle* Receive() {
    Reset();
    return &handle_;
  }

 private:
  Handle handle_ = Traits::Invalid();
};

// Files, pipes: INVALID_HANDLE_VALUE is empty.
struct FileHandleTraits {
  using Handle = HANDLE;
  static Handle Invalid() { return INVALID_HANDLE_VALUE; }
  static bool IsValid(Handle handle) { return handle != INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) { ::CloseHandle(handle); }
};
using UniqueFile = UniqueHandle<FileHandleTraits>;

// Processes, threads, events: null is empty.
struct KernelHandleTraits {
  using Handle = HANDLE;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle handle) { return handle != nullptr; }
  static void Close(Handle handle) { ::CloseHandle(handle); }
};
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;

struct ModuleTraits {
  using Handle = HMODULE;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle handle) { return handle != nullptr; }
  static void Close(Handle handle) { ::FreeLibrary(handle); }
};
using UniqueModule = UniqueHandle<ModuleTraits>;

// Memory that the system gives with LocalAlloc, such as the texts of FormatMessage.
struct LocalMemoryTraits {
  using Handle = HLOCAL;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle handle) { return handle != nullptr; }
  static void Close(Handle handle) { ::LocalFree(handle); }
};
using UniqueLocalMemory = UniqueHandle<LocalMemoryTraits>;

// Folder listings of FindFirstFile.
struct FindTraits : FileHandleTraits {
  static void Close(Handle handle) { ::FindClose(handle); }
};
using UniqueFind = UniqueHandle<FindTraits>;

struct RegistryKeyTraits {
  using Handle = HKEY;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle handle) { return handle != nullptr; }
  static void Close(Handle handle) { ::RegCloseKey(handle); }
};
using UniqueRegistryKey = UniqueHandle<RegistryKeyTraits>;

}  // namespace util

#endif  // UTIL_UNIQUE_HANDLE_H_
