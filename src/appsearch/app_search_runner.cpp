#include "appsearch/app_search_runner.h"

#include <string>

#include "msi/messages.h"
#include "util/text.h"

namespace appsearch {
namespace {

constexpr char kProgramQuery[] = "SELECT `Data` FROM `Binary` WHERE `Name`= '";

// The one way in: the engine works on narrow text.
Criterion ToCriterion(const msi::TableRow& row, const std::wstring& search) {
  return {.kind = static_cast<SearchKind>(util::ParseDecimal<int32_t>(row.Get(L"Type"))),
          .search = util::ToAnsi(search),
          .lowest = util::ToAnsi(row.Get(L"VerMin")),
          .highest = util::ToAnsi(row.Get(L"VerMax")),
          .reference = util::ToAnsi(row.Get(L"RefContent")),
          .view64 = row.Get(L"Platform") == L"1"};
}

// The one way out.
std::wstring ToPropertyValue(const msi::TableRow& row, const Findings& findings) {
  const bool has_bounds = !row.Get(L"VerMin").empty() || !row.Get(L"VerMax").empty();
  if (!has_bounds || findings.empty()) return L"1";
  std::string value;
  for (const std::string& finding : findings) {
    if (&finding != &findings.front()) value += ", ";
    value += finding;
  }
  return util::ToWide(value);
}

// Where the package's setup executable is: what it says itself, or the folder of its path.
FolderResolver FoldersOf(const msi::InstallerSession& session) {
  std::wstring folder = session.GetProperty(L"SETUPEXEDIR");
  if (folder.empty()) {
    const std::wstring executable = session.GetProperty(L"QX_SETUPEXEPATH");
    folder = executable.substr(0, executable.rfind(L'\\') + 1);
  }
  return FolderResolver(util::ToAnsi(folder));
}

void ClearProgressText(MSIHANDLE install) {
  msi::MessageRecord(4).Set(3, L"[1]").Send(install, INSTALLMESSAGE_ACTIONSTART);
  msi::MessageRecord(1).Set(1, L" ").Send(install, INSTALLMESSAGE_ACTIONDATA);
}

}  // namespace

AppSearchRunner::AppSearchRunner(MSIHANDLE install)
    : session_(install),
      programs_(install, kProgramQuery),
      engine_(&programs_, FoldersOf(session_)) {}

UINT AppSearchRunner::Run() {
  msi::AnnounceAction(session_.handle(), kAnnouncingRow, kSearchTable);
  msi::TableSnapshot rows(session_.handle(), kSearchTable);
  rows.Load({L"Property", L"Condition", L"Type", L"SearchString", L"VerMin", L"VerMax", L"Platform",
             L"RefContent"},
            {L"Order"});
  for (const msi::TableRow& row : rows) SearchRow(row);
  ClearProgressText(session_.handle());
  return ERROR_SUCCESS;
}

void AppSearchRunner::SearchRow(const msi::TableRow& row) const {
  const std::wstring property = row.Get(L"Property");
  std::wstring unused;
  if (!session_.TryGetProperty(property, &unused)) return;
  // Only a condition that is false skips the search, on purpose: one that does not parse must not
  // hide a program that is there.
  if (session_.GetConditionState(row.Get(L"Condition")) == MSICONDITION_FALSE) return;

  const std::wstring search = msi::FormatText(session_.handle(), row.Get(L"SearchString"));
  msi::MessageRecord(4)
      .Set(1, property)
      .Set(2, search)
      .Send(session_.handle(), INSTALLMESSAGE_ACTIONDATA);
  const SearchResult result =
      engine_.Search({ToCriterion(row, search)}, CombiningMode::kAll, /*stop_early=*/true);
  PublishBounds(row);
  if (result.found) session_.SetProperty(property, ToPropertyValue(row, result.findings));
}

void AppSearchRunner::PublishBounds(const msi::TableRow& row) const {
  const std::wstring property = row.Get(L"Property");
  for (const wchar_t* bound : {L"VerMin", L"VerMax"}) {
    const std::wstring version = row.Get(bound);
    if (!version.empty()) session_.SetProperty(property + L"Qx" + bound, version);
  }
}

}  // namespace appsearch
