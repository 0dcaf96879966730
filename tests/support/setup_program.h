#ifndef TESTS_SUPPORT_SETUP_PROGRAM_H_
#define TESTS_SUPPORT_SETUP_PROGRAM_H_

#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace test {

// One run of a setup program.
struct SetupRun {
  std::wstring program;  // As the command line names it, without quotes.
  std::wstring arguments;
  std::wstring folder;
  bool hidden = false;
};

// What a setup program logged in that file.
std::vector<SetupRun> ReadRuns(const std::wstring& log_path);

// A setup program in a test's folder that logs its runs; echo_program.cpp says what words on its
// command line do.
class SetupProgram {
 public:
  // `name` is below the folder, whose subfolders are made.
  SetupProgram(const TempFolder& folder, std::wstring_view name);

  [[nodiscard]] const std::wstring& path() const { return path_; }
  [[nodiscard]] std::vector<SetupRun> Runs() const { return ReadRuns(path_ + L".log"); }
  // Arguments of each run.
  [[nodiscard]] std::vector<std::wstring> Arguments() const;

 private:
  std::wstring path_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_SETUP_PROGRAM_H_
