#ifndef CHECK_PACKAGE_OUTPUT_H_
#define CHECK_PACKAGE_OUTPUT_H_

#include <string>
#include <vector>

#include "report.h"

// What the program says, in the forms that people and other programs read.
namespace check {

enum class OutputFormat { kText, kJson, kSarif };

// What came out for one package.
struct Verdict {
  Report report;
  bool was_opened = true;
};

// `sample.msi: error PRE201: table, row "x", column y: text`, one line a finding, and at the end
// `sample.msi: 2 errors, 1 warning` when the package was opened. Lines end as Windows ends them.
std::wstring FormatText(const Verdict& verdict);

// One document for all packages.
std::wstring FormatJson(const std::vector<Verdict>& verdicts);

// The same as SARIF 2.1.0, which code-review systems read. `version` is this program's.
std::wstring FormatSarif(const std::vector<Verdict>& verdicts, const std::wstring& version);

}  // namespace check

#endif  // CHECK_PACKAGE_OUTPUT_H_
