// What the extended search costs beside the bare system calls it consists of. Each line holds both
// times of one piece of work, the best of several alternating rounds, and their ratio.

#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <objbase.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "appsearch/app_search_runner.h"
#include "appsearch/search_engine.h"
#include "msi/handles.h"
#include "row.h"
#include "stopwatch.h"
#include "util/text.h"
#include "util/unique_handle.h"

namespace {

constexpr int kRounds = 11;
constexpr int kDepth = 4;
constexpr int kFoldersInFolder = 6;
constexpr int kFiles = 20000;
constexpr int kRows = 1000;

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "search_bench: %s failed\n", what);
  std::exit(1);
}

// Both pieces of work answer a count, which must be the same. `prepare` runs before each, untimed.
template <typename Prepare, typename Ours, typename Bare>
void Compare(const char* name, Prepare prepare, Ours ours, Bare bare) {
  double best_ours = 1e9;
  double best_bare = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    size_t our_count = 0;
    size_t bare_count = 0;
    prepare();
    best_bare = std::min(best_bare, 1000.0 * bench::Seconds([&] { bare_count = bare(); }));
    prepare();
    best_ours = std::min(best_ours, 1000.0 * bench::Seconds([&] { our_count = ours(); }));
    if (our_count != bare_count) Fail(name);
  }
  bench::PrintRow(name, best_ours, "the same calls, bare", best_bare, "1.25");
}

// The tree.

std::string TempFolder() {
  char path[MAX_PATH];
  ::GetTempPathA(MAX_PATH, path);
  return path;
}

void ListFolders(const std::string& folder, int depth, std::vector<std::string>* folders) {
  folders->push_back(folder);
  for (int i = 0; depth > 0 && i < kFoldersInFolder; ++i) {
    ListFolders(folder + "folder" + static_cast<char>('0' + i) + "\\", depth - 1, folders);
  }
}

void MakeTree(const std::vector<std::string>& folders) {
  for (const std::string& folder : folders) ::CreateDirectoryA(folder.c_str(), nullptr);
  for (int i = 0; i < kFiles; ++i) {
    const std::string path =
        folders[static_cast<size_t>(i) % folders.size()] + "file" + std::to_string(i) + ".dat";
    if (!util::UniqueFile(::CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr))) {
      Fail("making the tree");
    }
  }
}

void RemoveTree(const std::vector<std::string>& folders) {
  for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
    WIN32_FIND_DATAA found;
    const HANDLE search = ::FindFirstFileA((*folder + "*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) continue;
    do {
      ::DeleteFileA((*folder + found.cFileName).c_str());
    } while (::FindNextFileA(search, &found));
    ::FindClose(search);
    ::RemoveDirectoryA(folder->c_str());
  }
}

// `path` holds the folder, `length` long, and has room below it.
size_t WalkBare(char* path, size_t length, const char* name, int depth) {
  WIN32_FIND_DATAA found;
  ::lstrcpyA(path + length, name);
  size_t count = 0;
  HANDLE search = ::FindFirstFileA(path, &found);
  if (search != INVALID_HANDLE_VALUE) {
    ++count;
    ::FindClose(search);
  }
  if (depth == 0) return count;
  ::lstrcpyA(path + length, "*");
  search = ::FindFirstFileA(path, &found);
  if (search == INVALID_HANDLE_VALUE) return count;
  while (::FindNextFileA(search, &found)) {
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) continue;
    if (found.cFileName[0] == '.') continue;
    ::lstrcpyA(path + length, found.cFileName);
    const size_t below = length + static_cast<size_t>(::lstrlenA(found.cFileName));
    ::lstrcpyA(path + below, "\\");
    count += WalkBare(path, below + 1, name, depth - 1);
  }
  ::FindClose(search);
  return count;
}

void CompareWalks() {
  const std::string root = TempFolder() + "prereq search bench\\";
  std::vector<std::string> folders;
  ListFolders(root, kDepth, &folders);
  RemoveTree(folders);  // Of a run that was cut short.
  MakeTree(folders);
  const appsearch::SearchEngine engine(nullptr, appsearch::FolderResolver(L""));
  const std::vector<appsearch::Criterion> criteria = {
      {.kind = appsearch::SearchKind::kFile,
       .search = root + "missing.exe?" + std::to_string(kDepth)}};
  Compare(
      "missing file, depth 4, 20,000 files", [] {},
      [&] { return engine.Search(criteria, appsearch::CombiningMode::kAll, true).findings.size(); },
      [&] {
        char path[4 * MAX_PATH];
        ::lstrcpyA(path, root.c_str());
        return WalkBare(path, root.size(), "missing.exe", kDepth);
      });
  RemoveTree(folders);
}

// The registry rows.

constexpr char kKey[] = "Software\\prereq search bench";

std::string RowKey(int row) { return std::string(kKey) + "\\key" + std::to_string(row); }

void MakeKeys() {
  for (int row = 0; row < kRows; ++row) {
    util::UniqueRegistryKey key;
    ::RegCreateKeyExA(HKEY_CURRENT_USER, RowKey(row).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                      key.Receive(), nullptr);
    ::RegSetValueExA(key.Get(), "Version", 0, REG_SZ, reinterpret_cast<const BYTE*>("1.2.3"), 6);
  }
}

void RemoveKeys() {
  for (int row = 0; row < kRows; ++row) ::RegDeleteKeyA(HKEY_CURRENT_USER, RowKey(row).c_str());
  ::RegDeleteKeyA(HKEY_CURRENT_USER, kKey);
}

bool ReadValueBare(const char* path) {
  HKEY key = nullptr;
  if (::RegOpenKeyExA(HKEY_CURRENT_USER, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  char value[200];
  DWORD size = sizeof(value);
  DWORD type = 0;
  const LSTATUS error =
      ::RegQueryValueExA(key, "Version", nullptr, &type, reinterpret_cast<BYTE*>(value), &size);
  ::RegCloseKey(key);
  return error == ERROR_SUCCESS;
}

void CompareReads() {
  std::vector<appsearch::Criterion> criteria;
  std::vector<std::string> paths;
  for (int row = 0; row < kRows; ++row) {
    paths.push_back(RowKey(row));
    criteria.push_back({.kind = appsearch::SearchKind::kValue,
                        .search = "HKCU\\" + RowKey(row) + "\\Version",
                        .lowest = "1"});
  }
  const appsearch::SearchEngine engine(nullptr, appsearch::FolderResolver(L""));
  Compare(
      "1,000 registry values, searches alone", [] {},
      [&] { return engine.Search(criteria, appsearch::CombiningMode::kAll, true).findings.size(); },
      [&] {
        return static_cast<size_t>(
            std::count_if(paths.begin(), paths.end(),
                          [](const std::string& path) { return ReadValueBare(path.c_str()); }));
      });
}

void Execute(MSIHANDLE database, const std::wstring& sql) {
  msi::UniqueMsiView view;
  if (::MsiDatabaseOpenViewW(database, sql.c_str(), view.Receive()) != ERROR_SUCCESS ||
      ::MsiViewExecute(view.Get(), 0) != ERROR_SUCCESS) {
    Fail("making the package");
  }
}

msi::UniqueMsiHandle MakePackage(const std::wstring& path) {
  msi::UniqueMsiHandle database;
  ::MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_CREATE, database.Receive());
  msi::UniqueMsiHandle summary;
  ::MsiGetSummaryInformationW(database.Get(), nullptr, 5, summary.Receive());
  ::MsiSummaryInfoSetPropertyW(summary.Get(), 7, VT_LPSTR, 0, nullptr, L"Intel;1033");
  ::MsiSummaryInfoSetPropertyW(summary.Get(), 9, VT_LPSTR, 0, nullptr,
                               L"{6D1E7C50-3A0F-4C59-9F42-0D7A1C3B5E01}");
  ::MsiSummaryInfoSetPropertyW(summary.Get(), 14, VT_I4, 200, nullptr, nullptr);
  ::MsiSummaryInfoSetPropertyW(summary.Get(), 15, VT_I4, 2, nullptr, nullptr);
  ::MsiSummaryInfoPersist(summary.Get());
  summary.Reset();
  Execute(database.Get(),
          L"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` LONGCHAR NOT NULL "
          L"PRIMARY KEY `Property`)");
  Execute(database.Get(),
          L"INSERT INTO `Property` (`Property`,`Value`) VALUES "
          L"('ProductCode','{6D1E7C50-3A0F-4C59-9F42-0D7A1C3B5E02}')");
  Execute(database.Get(),
          L"CREATE TABLE `QX_AppSearchEx` (`Property` CHAR(72) NOT NULL, `Order` SHORT NOT NULL, "
          L"`Condition` CHAR(255), `Type` SHORT NOT NULL, `SearchString` LONGCHAR LOCALIZABLE, "
          L"`VerMin` CHAR(64), `VerMax` CHAR(64), `Platform` SHORT, `RefContent` CHAR(255) PRIMARY "
          L"KEY `Property`, `Order`)");
  for (int row = 0; row < kRows; ++row) {
    const std::wstring number = util::ToDecimal(static_cast<uint64_t>(row));
    Execute(database.Get(),
            L"INSERT INTO `QX_AppSearchEx` (`Property`,`Order`,`Condition`,`Type`,`SearchString`,"
            L"`VerMin`) VALUES ('P" +
                number + L"'," + number + L",'1=1',2,'HKCU\\" + util::ToWide(RowKey(row)) +
                L"\\Version','1')");
  }
  if (::MsiDatabaseCommit(database.Get()) != ERROR_SUCCESS) Fail("making the package");
  return database;
}

std::wstring Text(MSIHANDLE record, UINT field) {
  wchar_t text[512];
  DWORD length = 512;
  return ::MsiRecordGetStringW(record, field, text, &length) == ERROR_SUCCESS ? text : L"";
}

// One row as the action must treat it, with nothing but the calls.
bool SearchRowBare(MSIHANDLE install, MSIHANDLE row) {
  std::wstring cells[9];
  for (UINT field = 1; field <= 8; ++field) cells[field] = Text(row, field);
  wchar_t text[512];
  DWORD length = 0;
  ::MsiGetPropertyW(install, cells[1].c_str(), text, &length);
  ++length;
  ::MsiGetPropertyW(install, cells[1].c_str(), text, &length);
  if (::MsiEvaluateConditionW(install, cells[2].c_str()) == MSICONDITION_FALSE) return false;
  const MSIHANDLE record = ::MsiCreateRecord(1);
  ::MsiRecordSetStringW(record, 0, cells[4].c_str());
  length = 0;
  ::MsiFormatRecordW(install, record, text, &length);
  ++length;
  ::MsiFormatRecordW(install, record, text, &length);
  ::MsiCloseHandle(record);
  const MSIHANDLE message = ::MsiCreateRecord(4);
  ::MsiRecordSetStringW(message, 1, cells[1].c_str());
  ::MsiRecordSetStringW(message, 2, text);
  ::MsiProcessMessage(install, INSTALLMESSAGE_ACTIONDATA, message);
  ::MsiCloseHandle(message);
  char path[512];
  ::WideCharToMultiByte(CP_ACP, 0, text, -1, path, sizeof(path), nullptr, nullptr);
  path[::lstrlenA(path) - static_cast<int>(sizeof("\\Version")) + 1] = '\0';
  if (!ReadValueBare(path + 5)) return false;
  ::MsiSetPropertyW(install, (cells[1] + L"QxVerMin").c_str(), cells[5].c_str());
  ::MsiSetPropertyW(install, cells[1].c_str(), L"1.2.3");
  return true;
}

size_t SearchTableBare(MSIHANDLE install) {
  const msi::UniqueMsiHandle database(::MsiGetActiveDatabase(install));
  msi::UniqueMsiView view;
  ::MsiDatabaseOpenViewW(
      database.Get(),
      L"SELECT `Property`,`Condition`,`Type`,`SearchString`,`VerMin`,`VerMax`,`Platform`,"
      L"`RefContent` FROM `QX_AppSearchEx` ORDER BY `Order`",
      view.Receive());
  ::MsiViewExecute(view.Get(), 0);
  msi::UniqueMsiHandle record;
  size_t count = 0;
  while (::MsiViewFetch(view.Get(), record.Receive()) == ERROR_SUCCESS) {
    if (SearchRowBare(install, record.Get())) ++count;
  }
  return count;
}

void CompareActions() {
  const std::wstring path = util::ToWide(TempFolder() + "prereq search bench.msi");
  ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
  msi::UniqueMsiHandle database = MakePackage(path);
  database.Reset();
  msi::UniqueMsiHandle install;
  Compare(
      "1,000 registry rows, the whole action",
      // A fresh session each time: setting properties takes longer the more was set before.
      [&] {
        if (::MsiOpenPackageW(path.c_str(), install.Receive()) != ERROR_SUCCESS) Fail("opening");
      },
      [&] {
        appsearch::AppSearchRunner(msi::InstallerSession(install.Get())).Run();
        return static_cast<size_t>(kRows);
      },
      [&] { return SearchTableBare(install.Get()); });
  install.Reset();
  ::DeleteFileW(path.c_str());
}

}  // namespace

int main() {
  CompareWalks();
  MakeKeys();
  CompareReads();
  CompareActions();
  RemoveKeys();
  return 0;
}
