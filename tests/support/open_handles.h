#ifndef TESTS_SUPPORT_OPEN_HANDLES_H_
#define TESTS_SUPPORT_OPEN_HANDLES_H_

#include <windows.h>

#include <cstdint>

namespace test {

// How many handles this process has open. Each number that can be one is asked about: Wine does not
// count them.
inline uint32_t CountOpenHandles() {
  uint32_t count = 0;
  for (uintptr_t handle = 4; handle < 0x8000; handle += 4) {
    DWORD flags = 0;
    if (::GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags)) ++count;
  }
  return count;
}

}  // namespace test

#endif  // TESTS_SUPPORT_OPEN_HANDLES_H_
