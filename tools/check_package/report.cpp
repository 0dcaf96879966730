#include "report.h"

#include <algorithm>
#include <iterator>

#include "keys.h"
#include "util/text.h"

namespace check {
namespace {

std::wstring CountOf(size_t count, const wchar_t* what) {
  const std::wstring number = count == 0 ? L"no" : util::ToDecimal(count);
  return number + L" " + what + (count == 1 ? L"" : L"s");
}

}  // namespace

bool IsKey(std::wstring_view key) {
  return std::find(std::begin(kKeys), std::end(kKeys), key) != std::end(kKeys);
}

void Report::Add(const Kind& kind, std::wstring place, std::wstring text) {
  if (std::find(ignored_.begin(), ignored_.end(), kind.key) != ignored_.end()) return;
  findings_.push_back({kind, std::move(place), std::move(text)});
}

size_t Report::Count(Severity severity) const {
  return static_cast<size_t>(
      std::count_if(findings_.begin(), findings_.end(),
                    [&](const Finding& finding) { return finding.kind.severity == severity; }));
}

std::wstring FormatFinding(const std::wstring& file, const Finding& finding) {
  std::wstring line = file;
  line += finding.kind.severity == Severity::kError ? L": error " : L": warning ";
  line += finding.kind.key;
  line += L": ";
  if (!finding.place.empty()) line += finding.place + L": ";
  line += finding.text;
  std::replace_if(
      line.begin(), line.end(), [](wchar_t letter) { return letter < L' '; }, L' ');
  return line;
}

std::wstring FormatVerdict(const std::wstring& file, const Report& report) {
  return file + L": " + CountOf(report.Count(Severity::kError), L"error") + L", " +
         CountOf(report.Count(Severity::kWarning), L"warning");
}

std::wstring Row(std::wstring_view table, std::wstring_view row) {
  return std::wstring(table) + L", row " + Quoted(row);
}

std::wstring Cell(std::wstring_view table, std::wstring_view row, std::wstring_view column) {
  return Row(table, row) + L", column " + std::wstring(column);
}

std::wstring Quoted(std::wstring_view text) { return L"\"" + std::wstring(text) + L"\""; }

std::wstring Listed(const std::vector<std::wstring>& names) {
  std::wstring list;
  for (const std::wstring& name : names) {
    if (!list.empty()) list += L", ";
    list += name;
  }
  return list;
}

}  // namespace check
