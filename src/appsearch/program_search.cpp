#include "appsearch/program_search.h"

#include "util/process.h"

namespace appsearch {
namespace {

constexpr char kHide[] = "WND_HIDE";

}  // namespace

bool ProgramAgrees(const Criterion& criterion, const FolderResolver& folders,
                   ProgramSource* programs) {
  const auto arguments = folders.Resolve(criterion.search);
  if (!arguments) return false;
  const std::string program = programs->ExtractToTempExe(criterion.reference);
  if (program.empty()) return false;
  const bool hidden = criterion.lowest == kHide || criterion.highest == kHide;
  util::UniqueKernelHandle process;
  const bool is_started = util::StartProgram(program, *arguments, hidden, &process);
  programs->LetGo();
  if (!is_started) return false;
  DWORD exit_code = 1;  // Stays when the shell gives no process to ask.
  util::WaitForExit(process.Get(), &exit_code);
  return exit_code == 0;
}

}  // namespace appsearch
