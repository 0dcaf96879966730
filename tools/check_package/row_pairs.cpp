#include <windows.h>

#include <algorithm>
#include <map>

#include "checks.h"
#include "conditions.h"
#include "prereq/rows.h"
#include "util/text.h"

namespace check {
namespace {

using Row = PrerequisiteRow;

std::wstring Folded(std::wstring text) {
  ::CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

bool ShareLanguage(const Row& a, const Row& b) {
  const std::vector<std::wstring> of_a = util::Split(a.read.languages, L';');
  const std::vector<std::wstring> of_b = util::Split(b.read.languages, L';');
  return of_a.empty() || of_b.empty() ||
         std::any_of(of_a.begin(), of_a.end(), [&](const std::wstring& language) {
           return std::find(of_b.begin(), of_b.end(), language) != of_b.end();
         });
}

// True when there is a machine, with nothing that the searches look for, that needs both rows.
bool CanNeedBoth(const Context& context, const Row& a, const Row& b) {
  if (!ShareLanguage(a, b)) return false;
  const std::wstring of_a = a.read.missing_condition;
  const std::wstring of_b = b.read.missing_condition;
  if (of_a == of_b) return true;
  std::wstring both;
  for (const std::wstring& one : {of_a, of_b}) {
    // What does not parse counts as missing.
    if (one.empty() || context.package.Evaluate(one) == MSICONDITION_ERROR) continue;
    both += (both.empty() ? L"(" : L" AND (") + one + L")";
  }
  if (both.empty()) return true;
  const ConditionText text(both);
  if (text.names_others || context.package.session() == nullptr) return false;
  Values fresh;
  for (const std::wstring& name : text.properties) {
    if (!KnownProperties::IsInstallers(name)) {
      fresh[name] = context.properties.ValueOnFreshMachine(name);
    }
  }
  const std::vector<Values>& systems = KnownSystems();
  return std::any_of(systems.begin(), systems.end(), [&](Values known) {
    known.insert(fresh.begin(), fresh.end());
    return context.trials.Try(both, known) != Outcome::kNever;
  });
}

// The full name on disk as far as it is known; empty when there is none.
std::wstring NameOnDisk(const Row& row) {
  if (row.read.file_name.empty() || (!row.IsCarried() && !row.IsDownloaded())) return {};
  // The path is empty where the folder is known only in an installation.
  return Folded(row.read.file_path.empty() ? row.Get(L"Location") + L"\\" + row.read.file_name
                                           : row.read.file_path);
}

// True when the two can have one file: the same address or, beside the package, the same checks.
bool IsSameFile(const Row& a, const Row& b) {
  return a.read.location == b.read.location && (a.IsCarried() || a.read.url == b.read.url) &&
         a.read.exact_size == b.read.exact_size && a.read.digest == b.read.digest;
}

// The rows that were seen, by what no two of them may share.
class Sharers {
 public:
  // The first row with that text before this one that one machine can need too; null for none.
  const Row* Find(const Context& context, const std::wstring& text, const Row& row) {
    if (text.empty()) return nullptr;
    std::vector<const Row*>& others = rows_[text];
    const auto found = std::find_if(others.begin(), others.end(), [&](const Row* other) {
      return CanNeedBoth(context, *other, row);
    });
    const Row* const sharer = found == others.end() ? nullptr : *found;
    others.push_back(&row);
    return sharer;
  }

 private:
  std::map<std::wstring, std::vector<const Row*>> rows_;
};

}  // namespace

void CheckPairs(const Context& context) {
  Sharers names;
  Sharers sequences;
  Sharers files;
  for (const Row& row : context.prerequisites) {
    const auto add = [&](const FindingText& text, const wchar_t* column, const std::wstring& shared,
                         const Row* other) {
      if (other == nullptr) return;
      context.report->Add(text, row.At(column), {shared, other->Key()});
    };
    const std::wstring name = row.Get(L"DisplayName");
    add(kSameDisplayName, L"DisplayName", name, names.Find(context, name, row));
    const std::wstring number = row.Get(L"Sequence");
    add(kSameSequence, L"Sequence", number, sequences.Find(context, number, row));
    const Row* const other = files.Find(context, NameOnDisk(row), row);
    if (other != nullptr && !IsSameFile(*other, row)) {
      add(kSameNameOnDisk, L"", row.read.file_name, other);
    }
  }
}

}  // namespace check
