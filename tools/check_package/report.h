#ifndef CHECK_PACKAGE_REPORT_H_
#define CHECK_PACKAGE_REPORT_H_

#include <string>
#include <string_view>
#include <vector>

// What is wrong in a package, in words for its author.
namespace check {

enum class Severity { kError, kWarning };

// One sort of mistake. The key stays the same for ever: build scripts name it.
struct Kind {
  const wchar_t* key;
  Severity severity;
};

// True for the key of a mistake that a package can have.
[[nodiscard]] bool IsKey(std::wstring_view key);

struct Finding {
  Kind kind;
  std::wstring place;  // Table, row and column.
  std::wstring text;   // What is wrong, what the library makes of it, what to do.
};

class Report {
 public:
  // Findings of these keys are left out.
  void Ignore(std::wstring key) { ignored_.push_back(std::move(key)); }
  void Add(const Kind& kind, std::wstring place, std::wstring text);

  [[nodiscard]] const std::vector<Finding>& findings() const { return findings_; }
  [[nodiscard]] size_t Count(Severity severity) const;

 private:
  std::vector<Finding> findings_;
  std::vector<std::wstring> ignored_;
};

// `sample.msi: error PRE201: table, row "x", column y: text`, on one line whatever the cells hold.
std::wstring FormatFinding(const std::wstring& file, const Finding& finding);

// `sample.msi: 2 errors, 1 warning`
std::wstring FormatVerdict(const std::wstring& file, const Report& report);

// Places.
std::wstring Row(std::wstring_view table, std::wstring_view row);
std::wstring Cell(std::wstring_view table, std::wstring_view row, std::wstring_view column);

std::wstring Quoted(std::wstring_view text);

// With commas between.
std::wstring Listed(const std::vector<std::wstring>& names);

}  // namespace check

#endif  // CHECK_PACKAGE_REPORT_H_
