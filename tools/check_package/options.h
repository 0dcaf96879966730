#ifndef CHECK_PACKAGE_OPTIONS_H_
#define CHECK_PACKAGE_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "ignore_list.h"
#include "output.h"

namespace check {

extern const wchar_t kUsage[];

// What the command line asks for.
struct Options {
  bool wants_help = false;
  bool wants_version = false;
  bool is_strict = false;
  uint32_t limit_seconds = 120;  // For one package.
  OutputFormat format = OutputFormat::kText;
  std::wstring base;  // The file that the package was made from; empty for none.
  IgnoreList ignored;
  std::vector<std::wstring> packages;  // Patterns replaced by the files that fit them.
  // Why the command line was not understood; empty when it was.
  std::wstring complaint;
};

// Options begin with "/" or "--"; the value of one stands behind ":", "=" or a blank.
Options ReadOptions(const std::vector<std::wstring>& arguments);

}  // namespace check

#endif  // CHECK_PACKAGE_OPTIONS_H_
