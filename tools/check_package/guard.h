#ifndef CHECK_PACKAGE_GUARD_H_
#define CHECK_PACKAGE_GUARD_H_

#include <windows.h>

#include <functional>

#include "util/unique_handle.h"

namespace check {

// Stands by while a package is checked: a damaged one can bring the installer's own library down,
// or keep it busy for ever. A fault in this program itself stays a crash. One at a time.
class Guard {
 public:
  // `end` is called with the reason, on whatever thread notices; it ends the process.
  Guard(DWORD limit_seconds, std::function<void(const wchar_t*)> end);
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;
  ~Guard();

 private:
  static DWORD WINAPI Watch(void* self);
  static LONG WINAPI OnCrash(EXCEPTION_POINTERS* crash);

  DWORD limit_ms_;
  std::function<void(const wchar_t*)> end_;
  util::UniqueKernelHandle done_;
  util::UniqueKernelHandle thread_;
};

}  // namespace check

#endif  // CHECK_PACKAGE_GUARD_H_
