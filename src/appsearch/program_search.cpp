#include "appsearch/program_search.h"

#include "util/process.h"

namespace appsearch {
namespace {

constexpr char kHide[] = "WND_HIDE";

}  // namespace

bool ProgramAgrees(const Criterion& criterion, const FolderResolver& folders,
                   ProgramSource* programs) {
  const std::string program = programs->ExtractToTempExe(criterion.reference);
  if (program.empty()) return false;
  const bool hidden = criterion.lowest == kHide || criterion.highest == kHide;
  DWORD exit_code = 1;  // Stays when the shell gives no process to ask.
  return util::LaunchProgram(program, folders.Resolve(criterion.search), &exit_code, hidden) &&
         exit_code == 0;
}

}  // namespace appsearch
