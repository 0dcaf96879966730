#ifndef TESTS_RELIABILITY_PROCESS_FIGURES_H_
#define TESTS_RELIABILITY_PROCESS_FIGURES_H_

#include <array>
#include <cstdint>

#include "reliability/part.h"

namespace test {

// What this process holds of the system: handles, threads, modules, private bytes, bytes in use in
// all heaps.
using ProcessFigures = std::array<uint64_t, 5>;
ProcessFigures TakeFigures();

// Writes both figures into the part's line, and a fault for each that grew by more than the system
// itself needs from time to time. `lost_bytes` are those that the system is known to have lost
// between the two.
void CheckSteady(Part* part, const ProcessFigures& start, uint64_t lost_bytes);

}  // namespace test

#endif  // TESTS_RELIABILITY_PROCESS_FIGURES_H_
