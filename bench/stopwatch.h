#ifndef BENCH_STOPWATCH_H_
#define BENCH_STOPWATCH_H_

#include <windows.h>

namespace bench {

// Seconds that `work` takes.
template <typename Work>
double Seconds(Work work) {
  LARGE_INTEGER frequency, start, end;
  ::QueryPerformanceFrequency(&frequency);
  ::QueryPerformanceCounter(&start);
  work();
  ::QueryPerformanceCounter(&end);
  return static_cast<double>(end.QuadPart - start.QuadPart) /
         static_cast<double>(frequency.QuadPart);
}

}  // namespace bench

#endif  // BENCH_STOPWATCH_H_
