#include "join.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "kit_tables.h"
#include "util/text.h"

namespace kit {
namespace {

constexpr const wchar_t* kOwnTables[] = {L"QX_PreRequisite", L"QX_AppSearchEx"};
constexpr const wchar_t* kNeededTables[] = {L"Property", L"Feature", kExecuteSequence};
constexpr const wchar_t* kSecureNames[] = {L"QX_RESUME", L"QX_SETUPEXEPATH", L"QX_EXTRACT_DIR"};

// The row's cells up to the first column that is no key, and the others.
std::pair<Cells, Cells> Split(const KitTable& table, const Cells& row) {
  std::pair<Cells, Cells> parts;
  for (size_t i = 0; i < row.size(); ++i) {
    (table.columns[i].is_key ? parts.first : parts.second).push_back(row[i]);
  }
  return parts;
}

void RefuseWhatIsNoPackage(const Job& job) {
  if (job.database.HasTable(L"ModuleSignature")) {
    job.report.Refuse(
        L"this is a merge module; put the prerequisite into the package that takes it up");
  }
  for (const wchar_t* table : kNeededTables) {
    if (!job.database.HasTable(table)) {
      job.report.Refuse(
          std::wstring(L"this is no package that can be installed: it has no table ") + table);
    }
  }
}

void AddLibraries(const Job& job) {
  job.edits.EnsureTable(L"Binary", LoadKitTable(L"Binary").columns);
  for (const Cells& row : LoadKitTable(L"Binary").rows) {
    const std::wstring& name = row.front().second;
    const CarriedFile file(name.c_str());
    job.edits.PutFile(name, file.path());
  }
}

void AddCustomActions(const Job& job) {
  const KitTable actions = LoadKitTable(L"CustomAction");
  job.edits.EnsureTable(L"CustomAction", actions.columns);
  for (const Cells& row : actions.rows) {
    const auto [key, rest] = Split(actions, row);
    const Table found = job.database.Find(L"CustomAction", key);
    const bool is_other = !found.rows.empty() && (found.Get(0, L"Source") != row[2].second ||
                                                  found.Get(0, L"Target") != row[3].second);
    if (is_other && !job.edits.WasPut(L"CustomAction", key)) {
      job.report.Refuse(L"the package has an action " + Named(key) +
                        L" of its own: rename it first");
    }
    job.edits.PutRow(L"CustomAction", key, rest);
  }
}

bool Holds(const Database& database, const Texts& texts) {
  const std::vector<std::wstring> all = texts.All();
  return std::all_of(all.begin(), all.end(),
                     [&](const std::wstring& text) { return database.CanHold(text); });
}

const Texts& Choose(const Job& job, const std::vector<Texts>& all, const std::wstring& wish) {
  const std::wstring language = wish.empty() ? job.database.Property(L"ProductLanguage") : wish;
  const int number = util::ParseDecimal<int>(language);
  // Chinese is written in two ways; the texts are those of the simplified one.
  constexpr int kTraditional[] = {1028, 3076, 5124};
  const bool is_traditional =
      std::find(std::begin(kTraditional), std::end(kTraditional), number) != std::end(kTraditional);
  for (const Texts& texts : all) {
    if (texts.language != language &&
        (number == 0 || (number & 0x3FF) != texts.primary_language || is_traditional)) {
      continue;
    }
    if (Holds(job.database, texts)) return texts;
    job.report.ToDo(L"the package's code page " + util::ToDecimal(job.database.CodePage()) +
                    L" cannot hold the texts in the language " + texts.language +
                    L"; they are in English. Give the package the code page of its language "
                    L"and join it again");
    return all.front();
  }
  if (!wish.empty()) job.report.Refuse(L"there are no texts in the language " + wish);
  return all.front();
}

void AddTexts(const Job& job, const std::wstring& language) {
  const std::vector<Texts> all = LoadTexts();
  const Texts& texts = Choose(job, all, language);
  job.edits.EnsureTable(L"Error", LoadKitTable(L"Error").columns);
  job.edits.EnsureTable(L"ActionText", LoadKitTable(L"ActionText").columns);
  for (const Cells& row : texts.errors) {
    job.edits.PutRow(L"Error", {row.front()}, {row.begin() + 1, row.end()});
  }
  for (const Cells& row : texts.actions) {
    job.edits.PutRow(L"ActionText", {row.front()}, {row.begin() + 1, row.end()});
  }
}

void AddTables(const Job& job) {
  for (const wchar_t* table : kOwnTables) {
    job.edits.EnsureTable(table, LoadKitTable(table).columns);
  }
  if (!job.database.HasTable(L"_Validation")) return;
  const KitTable rules = LoadKitTable(L"_Validation");
  for (const Cells& row : rules.rows) {
    // Of the installer's own tables those that were not there before.
    if (!row.front().second.starts_with(L"QX_") && !job.edits.WasCreated(row.front().second)) {
      continue;
    }
    const auto [key, rest] = Split(rules, row);
    job.edits.PutRow(L"_Validation", key, rest);
  }
}

// The names in a condition, texts between quotes left out.
std::set<std::wstring> NamesIn(const std::wstring& condition) {
  std::set<std::wstring> names;
  std::wstring name;
  bool is_text = false;
  for (const wchar_t one : condition + L" ") {
    if (one == L'"') is_text = !is_text;
    const wchar_t small = util::FoldAscii(one);
    const bool is_part = (small >= L'a' && small <= L'z') || (one >= L'0' && one <= L'9') ||
                         one == L'_' || one == L'.';
    if (is_part && !is_text) {
      name += one;
    } else if (!name.empty()) {
      names.insert(name);
      name.clear();
    }
  }
  return names;
}

// A launch condition on something that was searched for stops the package before a prerequisite
// can bring it.
void NameLaunchConditions(const Job& job) {
  std::set<std::wstring> searched;
  for (const wchar_t* table : {L"AppSearch", L"QX_AppSearchEx"}) {
    const Table rows = job.database.Read(table);
    for (size_t i = 0; i < rows.rows.size(); ++i) searched.insert(rows.Get(i, L"Property"));
  }
  const Table conditions = job.database.Read(L"LaunchCondition");
  for (size_t i = 0; i < conditions.rows.size(); ++i) {
    const std::wstring condition = conditions.Get(i, L"Condition");
    const std::set<std::wstring> names = NamesIn(condition);
    if (std::any_of(names.begin(), names.end(),
                    [&](const std::wstring& name) { return searched.contains(name); })) {
      job.report.ToDo(L"LaunchCondition \"" + condition +
                      L"\" stops the package before its prerequisites run; take it out if a "
                      L"prerequisite brings what it asks for");
    }
  }
}

}  // namespace

bool IsJoinedByOthers(const Job& job) {
  const Cells key = {{L"Action", kInstall}};
  const Table action = job.database.Find(L"CustomAction", key);
  return !action.rows.empty() && action.Get(0, L"Target") == L"InstallPrereq" &&
         !job.edits.WasPut(L"CustomAction", key) && job.database.HasTable(L"QX_PreRequisite") &&
         job.database.HasTable(L"QX_AppSearchEx");
}

bool HasUiSequence(const Database& database) {
  return database.Has(kUiSequence, {{L"Action", L"ExecuteAction"}});
}

std::wstring OnceCondition(const Database& database, bool is_ui) {
  return is_ui || !HasUiSequence(database) ? L"" : L"UILevel<4";
}

void Join(const Job& job, const JoinOptions& options) {
  RefuseWhatIsNoPackage(job);
  if (job.report.is_refused()) return;
  job.edits.SetGroup({});
  AddLibraries(job);
  AddCustomActions(job);
  AddTexts(job, options.language);
  AddTables(job);
  ScheduleActions(job, options.verify_after);
  CleanUpAtExits(job);
  for (const wchar_t* name : kSecureNames) job.edits.AddSecureName(name);
  NameLaunchConditions(job);
}

}  // namespace kit
