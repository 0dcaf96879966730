#include <algorithm>

#include "require.h"
#include "util/text.h"

namespace kit {
namespace {

constexpr const wchar_t* kKinds[] = {
    L"file",   L"subkeys",        L"value",         L"product",        L"related", L"key",
    L"no key", L"value is there", L"no such value", L"value compared", L"program", L"component"};

using Line = std::vector<std::wstring>;

// Columns side by side, as wide as their widest cell.
void Lay(const std::vector<Line>& lines, std::vector<std::wstring>* result) {
  std::vector<size_t> widths;
  for (const Line& line : lines) {
    widths.resize(std::max(widths.size(), line.size()));
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  for (const Line& line : lines) {
    std::wstring text;
    for (size_t i = 0; i < line.size(); ++i) {
      text += line[i] + std::wstring(widths[i] + 2 - line[i].size(), L' ');
    }
    text.erase(text.find_last_not_of(L' ') + 1);
    result->push_back(text);
  }
}

Table Sorted(Table table, const wchar_t* column) {
  const size_t i = table.IndexOf(column);
  std::stable_sort(table.rows.begin(), table.rows.end(), [&](const auto& one, const auto& other) {
    return util::ParseDecimal<int>(one[i]) < util::ParseDecimal<int>(other[i]);
  });
  return table;
}

std::wstring KindName(const std::wstring& type) {
  const auto kind = util::ParseDecimal<size_t>(type);
  return kind < std::size(kKinds) ? kKinds[kind] : L"kind " + type;
}

}  // namespace

std::vector<std::wstring> ListPrerequisites(const Database& database) {
  std::vector<std::wstring> result;
  const Table rows = Sorted(database.Read(L"QX_PreRequisite"), L"Sequence");
  std::vector<Line> lines = {
      {L"order", L"id", L"name", L"from", L"bytes", L"options", L"missing when", L"feature"}};
  for (size_t i = 0; i < rows.rows.size(); ++i) {
    const bool is_download = rows.Get(i, L"Location") == L"1";
    lines.push_back({rows.Get(i, L"Sequence"), rows.Get(i, L"Prereq"), rows.Get(i, L"DisplayName"),
                     rows.Get(i, is_download ? L"SetupFileUrl" : L"TargetName"),
                     rows.Get(i, L"ExactSize"), rows.Get(i, L"Options"),
                     rows.Get(i, L"MissingCondition"), rows.Get(i, L"Feature_")});
  }
  Lay(lines, &result);
  const Table searches = Sorted(database.Read(L"QX_AppSearchEx"), L"Order");
  if (searches.rows.empty()) return result;
  lines = {{L"sets", L"search", L"for", L"at least", L"at most"}};
  for (size_t i = 0; i < searches.rows.size(); ++i) {
    lines.push_back({searches.Get(i, L"Property"), KindName(searches.Get(i, L"Type")),
                     searches.Get(i, L"SearchString"), searches.Get(i, L"VerMin"),
                     searches.Get(i, L"VerMax")});
  }
  result.emplace_back();
  Lay(lines, &result);
  return result;
}

}  // namespace kit
