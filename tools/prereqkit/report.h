#ifndef PREREQKIT_REPORT_H_
#define PREREQKIT_REPORT_H_

#include <string>
#include <vector>

namespace kit {

// What the program says of a package: what it changed, what it left alone, what the author still
// has to do; and, when it refuses, why.
class Report {
 public:
  // Several rows that go by one name are one line.
  void Added(const std::wstring& what) { Add(L"+ " + what); }
  void Changed(const std::wstring& what) { Add(L"~ " + what); }
  void Removed(const std::wstring& what) { Add(L"- " + what); }
  void Kept(const std::wstring& what) { Add(L"= " + what); }
  void ToDo(const std::wstring& what) { to_do_.push_back(L"to do: " + what); }
  // The first reason counts.
  void Refuse(const std::wstring& reason) {
    if (refusal_.empty()) refusal_ = reason;
  }

  [[nodiscard]] bool is_refused() const { return !refusal_.empty(); }
  [[nodiscard]] const std::wstring& refusal() const { return refusal_; }
  [[nodiscard]] const std::vector<std::wstring>& changes() const { return changes_; }
  [[nodiscard]] const std::vector<std::wstring>& to_do() const { return to_do_; }

 private:
  void Add(const std::wstring& line) {
    if (changes_.empty() || changes_.back() != line) changes_.push_back(line);
  }

  std::vector<std::wstring> changes_;
  std::vector<std::wstring> to_do_;
  std::wstring refusal_;
};

}  // namespace kit

#endif  // PREREQKIT_REPORT_H_
