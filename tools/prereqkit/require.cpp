#include "require.h"

#include <algorithm>
#include <cwctype>

#include "sequence.h"
#include "util/files.h"
#include "util/md5.h"
#include "util/text.h"

namespace kit {
namespace {

constexpr wchar_t kPrerequisites[] = L"QX_PreRequisite";
constexpr wchar_t kSearches[] = L"QX_AppSearchEx";
constexpr wchar_t kFilesInside[] = L"QX_SetFilesInside";
constexpr size_t kIdChars = 60;  // Leaves room for what is put before a property.
constexpr uint64_t kSizeLimit = uint64_t{1} << 32;

std::wstring FileName(const std::wstring& path) {
  return path.substr(path.find_last_of(L"\\/") + 1);
}

// Letters, digits and "_" of a file's name without its ending; never empty.
std::wstring IdFrom(const std::wstring& file) {
  std::wstring id;
  for (const wchar_t one : file.substr(0, file.rfind(L'.'))) {
    const wchar_t small = util::FoldAscii(one);
    const bool is_letter = small >= L'a' && small <= L'z';
    const bool is_digit = one >= L'0' && one <= L'9';
    if (is_letter || is_digit || one == L'_') id += one;
  }
  if (id.empty() || (id.front() >= L'0' && id.front() <= L'9')) id.insert(0, L"_");
  return id.substr(0, kIdChars);
}

std::wstring PropertyFrom(const std::wstring& id) {
  std::wstring name = L"FOUND_" + id;
  for (wchar_t& one : name) {
    if (one >= L'a' && one <= L'z') one = static_cast<wchar_t>(one - L'a' + L'A');
  }
  return name;
}

int Highest(const Database& database, const wchar_t* table, const wchar_t* column) {
  const Table rows = database.Read(table);
  int highest = 0;
  for (size_t i = 0; i < rows.rows.size(); ++i) {
    highest = std::max(highest, util::ParseDecimal<int>(rows.Get(i, column)));
  }
  return highest;
}

// The feature that needs it: the one that was named, or the only one at the top.
std::wstring ChooseFeature(const Job& job, const std::wstring& wish) {
  const Table features = job.database.Read(L"Feature");
  std::vector<std::wstring> top;
  std::wstring all;
  for (size_t i = 0; i < features.rows.size(); ++i) {
    const std::wstring name = features.Get(i, L"Feature");
    if (name == wish) return wish;
    all += (all.empty() ? L"" : L", ") + name;
    if (features.Get(i, L"Feature_Parent").empty()) top.push_back(name);
  }
  if (wish.empty() && top.size() == 1) return top.front();
  job.report.Refuse((wish.empty() ? L"say with --feature which feature needs it: "
                                  : L"the package has no feature " + wish + L"; there are: ") +
                    all);
  return {};
}

// Numbers between semicolons, as the library wants them.
std::wstring Languages(const Job& job, std::wstring list) {
  std::wstring result;
  std::replace(list.begin(), list.end(), L',', L';');
  for (std::wstring piece : util::Split(list, L';')) {
    piece.erase(std::remove(piece.begin(), piece.end(), L' '), piece.end());
    if (piece.empty() || piece.find_first_not_of(L"0123456789") != piece.npos) {
      job.report.Refuse(L"\"" + piece + L"\" is no language identifier such as 1033");
    }
    result += (result.empty() ? L"" : L";") + piece;
  }
  return result;
}

std::wstring OrderNumber(const Job& job, const std::wstring& wish) {
  const int number = wish.empty() ? Highest(job.database, kPrerequisites, L"Sequence") + 1
                                  : util::ParseDecimal<int>(wish);
  if (number < 1 || number > Sequence::kHighest) {
    job.report.Refuse(L"--order takes a number from 1 to 32767");
  }
  const Table rows = job.database.Read(kPrerequisites);
  for (size_t i = 0; i < rows.rows.size(); ++i) {
    if (util::ParseDecimal<int>(rows.Get(i, L"Sequence")) == number) {
      job.report.Refuse(L"the prerequisite " + rows.Get(i, L"Prereq") + L" has the order " +
                        util::ToSignedDecimal(number) + L" already");
    }
  }
  return util::ToSignedDecimal(number);
}

// The search and what it needs. Answers the condition that is true while nothing is found.
std::wstring AddSearch(const Job& job, const Requirement& wish, const std::wstring& id) {
  if (wish.search < 0) return wish.missing;
  const std::wstring property = wish.property.empty() ? PropertyFrom(id) : wish.property;
  if (std::any_of(property.begin(), property.end(),
                  [](wchar_t one) { return one >= L'a' && one <= L'z'; })) {
    job.report.Refuse(L"\"" + property +
                      L"\" has small letters: such a property does not reach the execute sequence");
  }
  const Table rows = job.database.Read(kSearches);
  for (size_t i = 0; i < rows.rows.size(); ++i) {
    if (rows.Get(i, L"Property") == property) {
      job.report.Refuse(L"a search sets " + property + L" already: give --property another name");
    }
  }
  if (wish.search == kProgramSearch) {
    const std::wstring program = FileName(wish.search_text);
    if (!util::ReadFileSize(wish.search_text)) {
      job.report.Refuse(wish.search_text + L" cannot be read");
    } else if (!job.edits.WasPut(L"Binary", {{L"Name", program}})) {
      job.edits.PutFile(program, wish.search_text);
    }
  }
  const std::wstring order = util::ToSignedDecimal(Highest(job.database, kSearches, L"Order") + 1);
  job.edits.PutRow(kSearches, {{L"Property", property}, {L"Order", order}}, SearchCells(wish));
  job.edits.AddSecureName(property);
  return L"NOT " + property;
}

// Files of Location 0 are looked for inside the setup executable when that one has unpacked them.
void AddFilesInside(const Job& job) {
  job.edits.SetGroup({});
  job.edits.PutRow(L"CustomAction", {{L"Action", kFilesInside}},
                   {{L"Type", L"51"}, {L"Source", L"QX_FilesInsideExe"}, {L"Target", L"1"}});
  for (const wchar_t* table : {kUiSequence, kExecuteSequence}) {
    if (table == kUiSequence && !HasUiSequence(job.database)) continue;
    Sequence sequence(job.database, &job.edits, &job.report, table);
    if (!sequence.IsMissing(kFilesInside)) continue;
    const std::vector<int> room =
        sequence.MakeRoom(sequence.LastBelow(sequence.NumberOf(kSearch)), 1);
    if (!room.empty()) sequence.Schedule(kFilesInside, L"QX_EXTRACT_DIR", room.front());
  }
}

void SayWhatIsLeft(const Job& job, const Requirement& wish, const std::wstring& order) {
  const std::wstring file = FileName(wish.setup);
  if (!wish.url.empty()) {
    job.report.ToDo(L"serve " + file + L" at " + wish.url);
  } else if (wish.is_inside) {
    job.report.ToDo(L"pack " + file + L" into the setup executable as group " +
                    util::ToSignedDecimal(util::ParseDecimal<int>(order) + 100));
  } else {
    job.report.ToDo(L"ship " + file + L" beside the package");
  }
}

}  // namespace

void Require(const Job& job, const Requirement& wish) {
  const std::wstring file = FileName(wish.setup);
  const std::wstring id = wish.id.empty() ? IdFrom(file) : wish.id;
  const auto size = util::ReadFileSize(wish.setup);
  const auto digest = util::ReadFileMd5(wish.setup);
  if (!size || !digest) return job.report.Refuse(wish.setup + L" cannot be read");
  if (!wish.url.empty() && wish.is_inside) {
    return job.report.Refuse(L"--url and --inside: a setup comes from one place");
  }
  if (const std::wstring reason = WhyNoSearch(wish); !reason.empty()) {
    return job.report.Refuse(reason);
  }
  if (IdFrom(id + L".") != id) {
    return job.report.Refuse(L"\"" + id + L"\" is no name of letters, digits and _");
  }
  if (job.database.Has(kPrerequisites, {{L"Prereq", id}})) {
    return job.report.Refuse(L"there is a prerequisite " + id +
                             L" already: drop it first, or give this one another --id");
  }
  const std::wstring feature = ChooseFeature(job, wish.feature);
  const std::wstring languages = Languages(job, wish.languages);
  const std::wstring order = OrderNumber(job, wish.order);
  if (job.report.is_refused()) return;
  if (wish.is_inside) AddFilesInside(job);
  job.edits.SetGroup(id);
  const std::wstring missing = AddSearch(job, wish, id);
  if (job.report.is_refused()) return;
  const std::wstring bytes = *size < kSizeLimit ? util::ToDecimal(*size) : std::wstring();
  job.edits.PutRow(kPrerequisites, {{L"Prereq", id}},
                   {{L"DisplayName", wish.name},
                    {L"SetupFileUrl", wish.url},
                    {L"Location", wish.url.empty() ? L"0" : L"1"},
                    {L"TargetName", wish.url.empty() ? file : std::wstring()},
                    {L"ExactSize", bytes},
                    {L"MD5", util::ToWide(*digest)},
                    {L"ComLine", wish.arguments},
                    {L"Options", std::wstring(wish.is_after_product ? L"p" : L"") +
                                     (wish.is_mandatory ? L"m" : L"")},
                    {L"Sequence", order},
                    {L"Languages", languages},
                    {L"MissingCondition", missing},
                    {L"Feature_", feature}});
  UpdateResolveSource(job);
  SayWhatIsLeft(job, wish, order);
}

void DropPrerequisite(const Job& job, const std::wstring& name) {
  const Table rows = job.database.Read(kPrerequisites);
  for (size_t i = 0; i < rows.rows.size(); ++i) {
    const std::wstring id = rows.Get(i, L"Prereq");
    if (id != name && rows.Get(i, L"DisplayName") != name) continue;
    if (job.edits.WasPut(kPrerequisites, rows.KeyOf(i))) {
      job.edits.TakeOut(id);
    } else {
      job.database.Delete(kPrerequisites, rows.KeyOf(i));
      job.report.Removed(std::wstring(kPrerequisites) + L" " + id);
      job.report.ToDo(L"take its search out of " + std::wstring(kSearches) +
                      L": you have put this prerequisite in yourself");
    }
    return UpdateResolveSource(job);
  }
  job.report.Refuse(L"there is no prerequisite " + name);
}

}  // namespace kit
