#include "util/os_family.h"

#include <windows.h>

namespace util {
namespace {

enum class Family { kUnknown, kNt, kOlder };

// Set without a lock: every thread would set it to the same value.
Family g_family = Family::kUnknown;

}  // namespace

bool IsNtFamily() {
  if (g_family == Family::kUnknown) {
    OSVERSIONINFOA info = {};
    info.dwOSVersionInfoSize = sizeof(info);
    const bool nt = ::GetVersionExA(&info) && info.dwPlatformId == VER_PLATFORM_WIN32_NT;
    g_family = nt ? Family::kNt : Family::kOlder;
  }
  return g_family == Family::kNt;
}

}  // namespace util
