#ifndef TESTS_RELIABILITY_PART_H_
#define TESTS_RELIABILITY_PART_H_

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "reliability/random.h"
#include "util/unique_handle.h"

namespace test {

// One part of the reliability runs: so many runs, each with a random start of its own that the
// command line, the part's name and the run's number make, and a line of counts at the end. The
// command line may hold
//   --start=N  the start of all randomness (1)
//   --from=N   the first run (0)
//   --runs=N   how many
// A run that shows a fault, crashes or hangs says how to repeat it alone. One part at a time.
class Part {
 public:
  // `name` is also that of the test case. A run that takes longer than `limit_ms` hangs: the
  // process ends.
  Part(std::string name, uint32_t default_runs, DWORD limit_ms = 60000);
  Part(const Part&) = delete;
  Part& operator=(const Part&) = delete;
  ~Part();  // Prints the line.

  void ForEachRun(const std::function<void(Random*)>& run);
  [[nodiscard]] uint32_t runs() const { return runs_; }

  // Says what is wrong in the current run. Not for other threads.
  void Fault(const std::string& text);
  // Faults that `wrong` shows.
  void FaultIf(bool wrong, const std::string& text) {
    if (wrong) Fault(text);
  }

  // Figures of the line, in the order of their first mention.
  void Count(const std::string& what, uint64_t more = 1);
  void CountBytes(const std::string& what, uint64_t more) { Count("bytes " + what, more); }
  // As it stands.
  void Note(const std::string& text) { notes_ += "  " + text; }

 private:
  [[nodiscard]] std::string Where() const;
  static DWORD WINAPI Watch(void* self);
  static LONG WINAPI OnCrash(EXCEPTION_POINTERS* crash);

  std::string name_;
  uint32_t start_;
  uint32_t from_;
  uint32_t runs_;
  DWORD limit_ms_;
  volatile LONG run_ = -1;  // -1 between runs.
  volatile DWORD began_ = 0;
  uint32_t faults_ = 0;
  std::vector<std::pair<std::string, uint64_t>> figures_;
  std::string notes_;
  util::UniqueKernelHandle stop_;
  util::UniqueKernelHandle watcher_;
};

// With commas between groups of three digits.
std::string Grouped(uint64_t number);

}  // namespace test

#endif  // TESTS_RELIABILITY_PART_H_
