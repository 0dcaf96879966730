#include "ignore_list.h"

#include <algorithm>

#include "text_file.h"
#include "util/text.h"

namespace check {
namespace {

std::wstring_view Trimmed(std::wstring_view text) {
  constexpr std::wstring_view kBlanks = L" \t\r";
  const size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  const size_t end = text.find_last_not_of(kBlanks);
  return text.substr(begin, end == text.npos ? 0 : end - begin + 1);
}

}  // namespace

bool IgnoreList::Entry::Covers(const Finding& finding) const {
  return finding.kind == kind && (table.empty() || finding.place.table == table) &&
         (row.empty() || finding.place.row == row);
}

IgnoreList::Entry IgnoreList::ReadEntry(std::wstring_view text) {
  const size_t colon = std::min(text.find(L':'), text.size());
  const size_t slash = std::min(text.find(L'/', colon), text.size());
  Entry entry = {std::wstring(text), FindKind(text.substr(0, colon)), {}, {}};
  if (colon != text.size()) entry.table = text.substr(colon + 1, slash - colon - 1);
  if (slash != text.size()) entry.row = text.substr(slash + 1);
  if (entry.kind == kNotOpened.kind) entry.kind = nullptr;
  return entry;
}

bool IgnoreList::Add(std::wstring_view entries) {
  std::vector<Entry> read;
  for (const std::wstring& text : util::Split(entries, L',')) {
    if (Trimmed(text).empty()) continue;
    read.push_back(ReadEntry(Trimmed(text)));
    if (read.back().kind == nullptr) return false;
  }
  entries_.insert(entries_.end(), read.begin(), read.end());
  return true;
}

void IgnoreList::AddFile(const std::wstring& path) {
  for (const std::wstring& line : util::Split(ReadTextFile(path), L'\n')) {
    const std::wstring_view text = Trimmed(std::wstring_view(line).substr(0, line.find(L'#')));
    if (!text.empty()) entries_.push_back(ReadEntry(text));
  }
}

void IgnoreList::Apply(Report* report) {
  report->Remove([&](const Finding& finding) {
    bool is_covered = false;
    for (Entry& entry : entries_) {
      if (!entry.Covers(finding)) continue;
      entry.is_used = true;
      is_covered = true;
    }
    return is_covered;
  });
}

void IgnoreList::ReportUnused(Report* report) const {
  const bool is_ignored = std::any_of(entries_.begin(), entries_.end(), [](const Entry& entry) {
    return entry.kind == kIgnoredInVain.kind;
  });
  if (is_ignored) return;
  for (const Entry& entry : entries_) {
    if (!entry.is_used) report->Add(kIgnoredInVain, {}, {entry.text});
  }
}

}  // namespace check
