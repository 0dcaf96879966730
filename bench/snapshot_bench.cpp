// Loading a table of 2,000 rows and 13 columns into memory, beside a bare loop over the same calls
// of the installer that keeps nothing. The best of several runs each, taken in turn.

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <algorithm>
#include <string>

#include "msi/table_snapshot.h"
#include "row.h"
#include "stopwatch.h"
#include "util/text.h"

namespace {

constexpr int kRows = 2000;
constexpr int kRounds = 40;
constexpr UINT kColumns = 13;
constexpr bool kIsInteger[kColumns + 1] = {false, false, false, false, true,  false, false,
                                           false, false, false, true,  false, false, false};
constexpr wchar_t kQuery[] =
    L"SELECT `Prereq`,`DisplayName`,`SetupFileUrl`,`Location`,`TargetName`,`ExactSize`,`MD5`,"
    L"`ComLine`,`Options`,`Sequence`,`Languages`,`MissingCondition`,`Feature_` FROM "
    L"`QX_PreRequisite` ORDER BY `Sequence`";

bool Execute(MSIHANDLE database, const wchar_t* sql, MSIHANDLE parameters = 0) {
  msi::UniqueMsiView view;
  return ::MsiDatabaseOpenViewW(database, sql, view.Receive()) == ERROR_SUCCESS &&
         ::MsiViewExecute(view.Get(), parameters) == ERROR_SUCCESS;
}

bool FillTable(MSIHANDLE database) {
  if (!Execute(
          database,
          L"CREATE TABLE `QX_PreRequisite` (`Prereq` CHAR(72) NOT NULL, `DisplayName` CHAR(255) "
          L"LOCALIZABLE, `SetupFileUrl` CHAR(0), `Location` SHORT, `TargetName` CHAR(255), "
          L"`ExactSize` CHAR(20), `MD5` CHAR(40), `ComLine` CHAR(0), `Options` CHAR(32), "
          L"`Sequence` SHORT, `Languages` CHAR(255), `MissingCondition` CHAR(0), `Feature_` "
          L"CHAR(38) PRIMARY KEY `Prereq`)")) {
    return false;
  }
  for (int row = 0; row < kRows; ++row) {
    const std::wstring number = util::ToSignedDecimal(row);
    const msi::UniqueMsiHandle record(::MsiCreateRecord(kColumns));
    const std::wstring cells[kColumns] = {
        L"Prereq" + number,
        L"Prerequisite number " + number + L" (32-bit)",
        L"http://downloads.example.com/prerequisites/setup" + number + L".exe",
        L"",
        L"setup" + number + L".exe",
        L"1234567",
        L"d41d8cd98f00b204e9800998ecf8427e",
        L"/q /norestart /log \"[TempFolder]setup" + number + L".log\"",
        L"m",
        L"",
        L"",
        L"NOT PREREQ_FOUND_" + number,
        L"Main"};
    for (UINT field = 1; field <= kColumns; ++field) {
      if (kIsInteger[field]) {
        ::MsiRecordSetInteger(record.Get(), field, field == 4 ? row % 2 : kRows - row);
      } else {
        ::MsiRecordSetStringW(record.Get(), field, cells[field - 1].c_str());
      }
    }
    if (!Execute(database,
                 L"INSERT INTO `QX_PreRequisite` (`Prereq`,`DisplayName`,`SetupFileUrl`,`Location`,"
                 L"`TargetName`,`ExactSize`,`MD5`,`ComLine`,`Options`,`Sequence`,`Languages`,"
                 L"`MissingCondition`,`Feature_`) VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?)",
                 record.Get())) {
      return false;
    }
  }
  return true;
}

// The calls that a snapshot makes, and nothing else.
size_t LoopOverCalls(MSIHANDLE database) {
  static wchar_t buffer[1024];
  size_t rows = 0;
  msi::UniqueMsiView view;
  msi::UniqueMsiHandle names;
  msi::UniqueMsiHandle types;
  msi::UniqueMsiHandle record;
  (void)::MsiDatabaseOpenViewW(database, kQuery, view.Receive());
  ::MsiViewExecute(view.Get(), 0);
  ::MsiViewGetColumnInfo(view.Get(), MSICOLINFO_NAMES, names.Receive());
  ::MsiViewGetColumnInfo(view.Get(), MSICOLINFO_TYPES, types.Receive());
  while (::MsiViewFetch(view.Get(), record.Receive()) == ERROR_SUCCESS) {
    for (UINT field = 1; field <= kColumns; ++field) {
      if (kIsInteger[field]) {
        (void)::MsiRecordGetInteger(record.Get(), field);
        continue;
      }
      DWORD length = 0;
      wchar_t empty[1] = L"";
      ::MsiRecordGetStringW(record.Get(), field, empty, &length);
      ++length;
      ::MsiRecordGetStringW(record.Get(), field, buffer, &length);
    }
    ++rows;
  }
  return rows;
}

bool Load(msi::TableSnapshot* snapshot) {
  return snapshot->Load({L"Prereq", L"DisplayName", L"SetupFileUrl", L"Location", L"TargetName",
                         L"ExactSize", L"MD5", L"ComLine", L"Options", L"Sequence", L"Languages",
                         L"MissingCondition", L"Feature_"},
                        {L"Sequence"}) &&
         snapshot->size() == kRows;
}

}  // namespace

int main() {
  wchar_t folder[MAX_PATH];
  ::GetTempPathW(MAX_PATH, folder);
  const std::wstring path =
      std::wstring(folder) + L"snapshot_bench" + util::ToDecimal(::GetCurrentProcessId()) + L".msi";
  double loop_seconds = 1e9;
  double snapshot_seconds = 1e9;
  bool whole = true;
  {
    msi::UniqueMsiHandle database;
    whole =
        ::MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_CREATE, database.Receive()) == ERROR_SUCCESS &&
        FillTable(database.Get()) && ::MsiDatabaseCommit(database.Get()) == ERROR_SUCCESS;
  }
  // The first query, which reads the table from the file, is made before the clock runs.
  const auto open = [&] {
    MSIHANDLE database = 0;
    whole = whole &&
            ::MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_READONLY, &database) == ERROR_SUCCESS &&
            LoopOverCalls(database) == kRows;
    return database;
  };
  for (int round = 0; whole && round < kRounds; ++round) {
    const msi::UniqueMsiHandle database(open());
    loop_seconds =
        std::min(loop_seconds,
                 bench::Seconds([&] { whole = whole && LoopOverCalls(database.Get()) == kRows; }));
    msi::TableSnapshot snapshot(msi::UniqueMsiHandle(open()), L"QX_PreRequisite");
    snapshot_seconds =
        std::min(snapshot_seconds, bench::Seconds([&] { whole = whole && Load(&snapshot); }));
  }
  ::DeleteFileW(path.c_str());
  if (!whole) return 1;
  bench::PrintRow("snapshot of 2,000 rows and 13 columns", snapshot_seconds * 1e3,
                  "the same calls, bare", loop_seconds * 1e3, "1.15");
  return 0;
}
