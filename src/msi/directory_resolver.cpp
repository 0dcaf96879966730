#include "msi/directory_resolver.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "msi/table_snapshot.h"
#include "util/text.h"

namespace msi {
namespace {

constexpr size_t kNone = std::wstring_view::npos;

struct Step {
  std::wstring key;
  std::wstring name;
};

// `default_dir` is "target:source", each "short|long". The long name of the target.
std::wstring TargetName(std::wstring_view default_dir) {
  std::wstring_view target = default_dir.substr(0, default_dir.find(L':'));
  const size_t bar = target.find(L'|');
  if (bar != kNone) target.remove_prefix(bar + 1);
  return std::wstring(target);
}

}  // namespace

std::wstring DirectoryResolver::ResolveDirectory(const std::wstring& key) {
  // Up to the first folder that is known already, and then down again.
  std::vector<Step> steps;
  std::wstring path;
  for (std::wstring current = key; !current.empty();) {
    path = session_.GetProperty(current);
    if (!path.empty()) break;
    const auto known = resolved_.find(current);
    if (known != resolved_.end()) {
      path = known->second;
      break;
    }
    TableSnapshot rows(session_, L"Directory");
    if (!rows.Load({}, {}, (L"`Directory`='" + current + L"'").c_str())) break;
    const TableRow& row = *rows.begin();
    const std::wstring parent = row.Get(L"Directory_Parent");
    steps.push_back({current, TargetName(row.Get(L"DefaultDir"))});
    // A folder that is its own parent is a root, by the rules of the table.
    if (parent == current) break;
    if (std::any_of(steps.begin(), steps.end(),
                    [&](const Step& step) { return step.key == parent; })) {
      return {};
    }
    current = parent;
  }
  for (; !steps.empty(); steps.pop_back()) {
    const Step& step = steps.back();
    if (step.name != L".") {
      if (!path.empty()) path = util::WithBackslash(std::move(path));
      path += step.name + L'\\';
    }
    resolved_[step.key] = path;
  }
  return path;
}

}  // namespace msi
