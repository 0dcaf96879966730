#ifndef TESTS_RELIABILITY_PROCESS_FIGURES_H_
#define TESTS_RELIABILITY_PROCESS_FIGURES_H_

#include <cstdint>
#include <string>

#include "reliability/part.h"

namespace test {

// What this process holds of the system.
struct ProcessFigures {
  uint32_t handles = 0;
  uint32_t threads = 0;
  uint32_t modules = 0;
  uint64_t private_bytes = 0;
  uint64_t bytes_in_use = 0;  // Of all heaps.

  static ProcessFigures Take();
};

// Writes both figures into the part's line, and a fault for each that grew by more than the system
// itself needs from time to time. `lost_bytes` are those that the system is known to have lost
// between the two.
void CheckSteady(Part* part, const ProcessFigures& start, const ProcessFigures& end,
                 uint64_t lost_bytes);

}  // namespace test

#endif  // TESTS_RELIABILITY_PROCESS_FIGURES_H_
