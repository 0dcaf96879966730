#ifndef PREREQKIT_JOIN_H_
#define PREREQKIT_JOIN_H_

#include <string>

#include "database.h"
#include "edits.h"
#include "report.h"

namespace kit {

// The actions of the library, as they are called in a package.
inline constexpr wchar_t kSearch[] = L"QX_AppSearchEx";
inline constexpr wchar_t kDownload[] = L"QX_DownloadPrereq";
inline constexpr wchar_t kExtract[] = L"QX_ExtractPrereq";
inline constexpr wchar_t kInstall[] = L"QX_InstallPrerequisite";
inline constexpr wchar_t kInstallPost[] = L"QX_InstallPostPrerequisite";
inline constexpr wchar_t kSearchAgain[] = L"QX_SearchAgain";
inline constexpr wchar_t kVerify[] = L"QX_VerifyPrereq";
inline constexpr wchar_t kClean[] = L"QX_CleanPrereq";
inline constexpr wchar_t kTakeBack[] = L"QX_TakeRunValueBack";
inline constexpr wchar_t kCleanCancelled[] = L"QX_CleanCancelled";
inline constexpr wchar_t kCleanFailed[] = L"QX_CleanFailed";

inline constexpr wchar_t kUiSequence[] = L"InstallUISequence";
inline constexpr wchar_t kExecuteSequence[] = L"InstallExecuteSequence";
inline constexpr wchar_t kNotRemoved[] = L"NOT REMOVE~=\"ALL\"";

struct JoinOptions {
  std::wstring language;      // A name or a language identifier; that of the package when empty.
  bool verify_after = false;  // The product is installed before it is known what is missing.
};

// What all the steps of a run work on.
struct Job {
  Database& database;
  Edits& edits;
  Report& report;
};

// Puts the library and everything it needs into a package, or brings what an earlier run has put
// there up to date. Refused for a database that is no package that can be installed.
void Join(const Job& job, const JoinOptions& options);

// True when the library was put into the package by hand or with another tool: its rows are the
// author's then.
bool IsJoinedByOthers(const Job& job);

// True when the installation runs the user-interface sequence, which then leads to the product.
bool HasUiSequence(const Database& database);
// The condition of the actions that run once: in the execute sequence only when there is no user
// interface that ran them.
std::wstring OnceCondition(const Database& database, bool is_ui);

// The steps of Join() in other files: when the actions run, and how a dialog that ends a cancelled
// or failed installation cleans up.
void ScheduleActions(const Job& job, bool verify_after);
void CleanUpAtExits(const Job& job);

}  // namespace kit

#endif  // PREREQKIT_JOIN_H_
