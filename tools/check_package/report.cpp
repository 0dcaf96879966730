#include "report.h"

#include <algorithm>
#include <iterator>

#include "util/text.h"

namespace check {
namespace {

std::wstring Filled(std::wstring_view text, std::initializer_list<std::wstring> fill_in,
                    const std::wstring& package) {
  std::wstring filled;
  for (size_t at = 0; at < text.size(); ++at) {
    if (text[at] != L'{' || at + 2 >= text.size() || text[at + 2] != L'}') {
      filled += text[at];
      continue;
    }
    const wchar_t what = text[at + 1];
    const auto index = static_cast<size_t>(what - L'1');
    if (what == L'p') {
      filled += package.find(L' ') == package.npos ? package : Quoted(package);
    } else if (index < fill_in.size()) {
      filled += fill_in.begin()[index];
    } else {
      filled += text[at];
      continue;
    }
    at += 2;
  }
  return filled;
}

std::wstring OnOneLine(std::wstring text) {
  std::replace_if(
      text.begin(), text.end(), [](wchar_t letter) { return letter < L' '; }, L' ');
  return text;
}

bool IsSame(const Finding& a, const Finding& b) {
  return a.kind == b.kind && a.place == b.place && a.text == b.text;
}

}  // namespace

std::wstring Place::Text() const {
  std::wstring text = table;
  if (!row.empty()) text += L", row " + Quoted(row);
  if (!column.empty()) text += L", column " + column;
  return OnOneLine(text);
}

std::wstring Finding::Message() const {
  if (advice.empty()) return OnOneLine(text);
  const bool is_command = advice.starts_with(L"prereqkit ");
  return OnOneLine(text + (is_command ? L". To do: run " : L". To do: ") + advice);
}

const FindingKind* FindKind(std::wstring_view key) {
  const auto* const found =
      std::find_if(std::begin(kKinds), std::end(kKinds), [&](const FindingKind& kind) {
        return std::equal(
            key.begin(), key.end(), kind.key, kind.key + std::wcslen(kind.key),
            [](wchar_t a, wchar_t b) { return util::FoldAscii(a) == util::FoldAscii(b); });
      });
  return found == std::end(kKinds) ? nullptr : found;
}

void Report::Add(const FindingText& text, Place place,
                 std::initializer_list<std::wstring> fill_in) {
  Finding finding = {text.kind, std::move(place), Filled(text.says, fill_in, package_),
                     Filled(text.kind->advice, fill_in, package_)};
  const bool is_new = std::none_of(findings_.begin(), findings_.end(),
                                   [&](const Finding& other) { return IsSame(finding, other); });
  if (is_new) findings_.push_back(std::move(finding));
}

size_t Report::Count(Severity severity) const {
  return static_cast<size_t>(
      std::count_if(findings_.begin(), findings_.end(),
                    [&](const Finding& finding) { return finding.kind->severity == severity; }));
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
