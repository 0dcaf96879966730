#ifndef CHECK_PACKAGE_REPORT_H_
#define CHECK_PACKAGE_REPORT_H_

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "findings.h"

// What is wrong in a package, in words for its author.
namespace check {

// Where in the package; what does not apply is empty.
struct Place {
  std::wstring table;
  std::wstring row;
  std::wstring column;

  // `QX_PreRequisite, row "Runtime", column MD5`
  [[nodiscard]] std::wstring Text() const;
  bool operator==(const Place&) const = default;
};

struct Finding {
  const FindingKind* kind;
  Place place;
  std::wstring text;    // What is wrong and what the library makes of it.
  std::wstring advice;  // What to do.

  // All of it but the place, on one line whatever the cells hold.
  [[nodiscard]] std::wstring Message() const;
};

// The kind of that key, capitals or not; null when there is none.
[[nodiscard]] const FindingKind* FindKind(std::wstring_view key);

// The findings of one package, each once.
class Report {
 public:
  // `package` is the file as commands are to name it.
  explicit Report(std::wstring package) : package_(std::move(package)) {}

  void Add(const FindingText& text, Place place, std::initializer_list<std::wstring> fill_in = {});

  // Takes out what `is_ignored` says.
  template <typename Predicate>
  void Remove(Predicate is_ignored) {
    std::erase_if(findings_, is_ignored);
  }

  [[nodiscard]] const std::wstring& package() const { return package_; }
  [[nodiscard]] const std::vector<Finding>& findings() const { return findings_; }
  [[nodiscard]] size_t Count(Severity severity) const;

 private:
  std::wstring package_;
  std::vector<Finding> findings_;
};

std::wstring Quoted(std::wstring_view text);

// With commas between.
std::wstring Listed(const std::vector<std::wstring>& names);

}  // namespace check

#endif  // CHECK_PACKAGE_REPORT_H_
