#include "appsearch/app_search_runner.h"

#include <optional>
#include <string>
#include <utility>

#include "contract/properties.h"
#include "msi/messages.h"
#include "util/text.h"

namespace appsearch {
namespace {

constexpr char kProgramQuery[] = "SELECT `Data` FROM `Binary` WHERE `Name`= '";

// Where the package's setup executable is: what it says itself, or the folder of its path.
FolderResolver FoldersOf(const msi::InstallerSession& session) {
  std::wstring folder = session.GetProperty(contract::kSetupFolderProperty);
  if (folder.empty()) {
    const std::wstring executable = session.GetProperty(contract::kSetupPathProperty);
    folder = executable.substr(0, executable.rfind(L'\\') + 1);
  }
  return FolderResolver(std::move(folder));
}

// In words. What was searched for stands in the action data before it.
std::wstring Outcome(const SearchRow& row, const SearchResult& result) {
  if (result.found) {
    return util::Concat({L"found, set to ", ToPropertyValue(row, result.findings)});
  }
  if (result.findings.empty()) return L"found nothing";
  const std::wstring found = JoinFindings(result.findings);
  if (row.kind == SearchKind::kValueCompares) {
    return util::Concat({L"found ", found, L", which is not RefContent \"", row.reference, L"\""});
  }
  return util::Concat({L"found ", found, L", not from VerMin \"", row.lowest, L"\" to VerMax \"",
                       row.highest, L"\""});
}

void ClearProgressText(const msi::InstallerSession& session) {
  msi::MessageRecord(4).Set(3, L"[1]").Send(session, INSTALLMESSAGE_ACTIONSTART);
  msi::MessageRecord(1).Set(1, L" ").Send(session, INSTALLMESSAGE_ACTIONDATA);
}

}  // namespace

AppSearchRunner::AppSearchRunner(const msi::InstallerSession& session)
    : session_(session),
      programs_(session, kProgramQuery),
      engine_(&programs_, FoldersOf(session_)) {}

void AppSearchRunner::Run() {
  msi::AnnounceAction(session_, kAnnouncingRow, kSearchTable);
  for (const SearchRow& row : LoadSearchRows(session_)) Search(row);
  ClearProgressText(session_);
}

void AppSearchRunner::Search(const SearchRow& row) const {
  std::wstring unused;
  if (!session_.TryGetProperty(row.property, &unused)) {
    Log(row, L"passed over, no property can have that name");
    return;
  }
  // Compatibility: only a condition that is false skips the search, not one that does not parse.
  if (session_.GetConditionState(row.condition) == MSICONDITION_FALSE) {
    Log(row, L"passed over, its Condition is false");
    return;
  }

  const std::wstring search = msi::FormatText(session_, row.search);
  msi::MessageRecord(4)
      .Set(1, row.property)
      .Set(2, search)
      .Send(session_, INSTALLMESSAGE_ACTIONDATA);
  SearchResult result;
  if (const std::optional<Criterion> criterion = ToCriterion(row, search)) {
    result = engine_.Search({*criterion}, CombiningMode::kAll, /*stop_early=*/true);
    Log(row, Outcome(row, result));
  } else {
    Log(row, L"found nothing, the ANSI code page does not have all characters of the row");
  }
  // The bounds are for texts of the package, found or not.
  if (!row.lowest.empty()) session_.SetProperty(row.property + L"QxVerMin", row.lowest);
  if (!row.highest.empty()) session_.SetProperty(row.property + L"QxVerMax", row.highest);
  if (result.found) session_.SetProperty(row.property, ToPropertyValue(row, result.findings));
}

void AppSearchRunner::Log(const SearchRow& row, std::wstring_view outcome) const {
  msi::Log(session_, util::Concat({L"search for ", row.property, L": ", outcome}));
}

}  // namespace appsearch
