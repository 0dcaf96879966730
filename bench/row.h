#ifndef BENCH_ROW_H_
#define BENCH_ROW_H_

#include <cstdio>

namespace bench {

// Prints one row of the table that bench.sh makes, its cells between tabs: what was measured, how
// long it took us, beside what, how long that took, our time in units of that, and the largest
// ratio aimed at.
inline void PrintRow(const char* figure, double our_ms, const char* yardstick, double yardstick_ms,
                     const char* aim) {
  std::printf("%s\t%.1f ms\t%s\t%.1f ms\t%.2f\t%s\n", figure, our_ms, yardstick, yardstick_ms,
              our_ms / yardstick_ms, aim);
}

}  // namespace bench

#endif  // BENCH_ROW_H_
