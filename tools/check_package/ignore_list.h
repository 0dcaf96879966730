#ifndef CHECK_PACKAGE_IGNORE_LIST_H_
#define CHECK_PACKAGE_IGNORE_LIST_H_

#include <string>
#include <string_view>
#include <vector>

#include "report.h"

namespace check {

// Findings that the author knows and means: all of a key, `PRE512`, or those in one table or row,
// `PRE216:QX_PreRequisite/Runtime`.
class IgnoreList {
 public:
  // Several with commas between. False, with nothing added, when one names no key that can be
  // ignored; that of a package that cannot be opened cannot.
  [[nodiscard]] bool Add(std::wstring_view entries);
  // The lines of a file in UTF-8, one entry each; from a "#" on a line is a remark. What names no
  // key is kept as an entry that ignores nothing. Nothing when there is no such file.
  void AddFile(const std::wstring& path);

  // Takes what is ignored out of the report, and remembers which entries did it.
  void Apply(Report* report);
  // Adds a finding for every entry that ignored nothing so far, unless those are ignored too.
  void ReportUnused(Report* report) const;

 private:
  struct Entry {
    std::wstring text;  // As it was written.
    const FindingKind* kind;
    std::wstring table;
    std::wstring row;
    bool is_used = false;

    [[nodiscard]] bool Covers(const Finding& finding) const;
  };
  static Entry ReadEntry(std::wstring_view text);

  std::vector<Entry> entries_;
};

}  // namespace check

#endif  // CHECK_PACKAGE_IGNORE_LIST_H_
