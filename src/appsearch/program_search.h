#ifndef APPSEARCH_PROGRAM_SEARCH_H_
#define APPSEARCH_PROGRAM_SEARCH_H_

#include <string>

#include "appsearch/criterion.h"
#include "appsearch/folder_resolver.h"

namespace appsearch {

// Where programs that a package brings come from. Texts are in the ANSI code page.
class ProgramSource {
 public:
  // Writes the program `name` to a new temporary file and gives its path; empty on failure. The
  // source owns the file, and keeps it until it is asked for the next one or ends. Nobody can
  // change it until LetGo().
  virtual std::string ExtractToTempExe(const std::string& name) = 0;
  virtual void LetGo() = 0;

 protected:
  ~ProgramSource() = default;  // Nobody owns a source through this interface.
};

// Runs the program that the package holds under the name `reference` and waits for its end, without
// a time limit. The search text is its arguments. A version bound that reads "WND_HIDE" keeps its
// window hidden. True when it started and ended with exit code 0.
bool ProgramAgrees(const Criterion& criterion, const FolderResolver& folders,
                   ProgramSource* programs);

}  // namespace appsearch

#endif  // APPSEARCH_PROGRAM_SEARCH_H_
