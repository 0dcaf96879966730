#ifndef PREREQKIT_OPTIONS_H_
#define PREREQKIT_OPTIONS_H_

#include <string>
#include <vector>

#include "join.h"
#include "require.h"

namespace kit {

enum class Command { kHelp, kJoin, kRequire, kList, kDrop, kUnjoin };

struct Options {
  Command command = Command::kHelp;
  std::wstring package;
  std::wstring out;  // Where the result goes; the package itself when empty.
  bool is_dry_run = false;
  JoinOptions join;
  Requirement requirement;
  std::wstring prerequisite;  // Which to drop.
  std::wstring complaint;     // Why the command line is wrong; empty when it is right.
};

// `arguments` are those behind the program's name.
Options ReadOptions(const std::vector<std::wstring>& arguments);

extern const wchar_t kUsage[];

}  // namespace kit

#endif  // PREREQKIT_OPTIONS_H_
