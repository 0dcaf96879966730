#ifndef PREREQ_ROWS_H_
#define PREREQ_ROWS_H_

#include <windows.h>
#include <msi.h>

#include <string>
#include <string_view>

#include "contract/tables.h"
#include "msi/session.h"
#include "msi/table_snapshot.h"

// The rows of `QX_PreRequisite`, one a prerequisite: reading them, selecting those that a phase
// handles, and where a row's setup file lies.
namespace prereq {

using contract::kPrerequisiteTable;

// Values of `Location`; every other one means that the row has no setup file.
inline constexpr int kCarriedLocation = 0;  // With the package: beside it or in its executable.
inline constexpr int kDownloadedLocation = 1;

// Letters of `Options`.
inline constexpr wchar_t kMandatoryOption = L'm';
inline constexpr wchar_t kPostInstallOption = L'p';

// Loads every column that the engine reads, in `Sequence` order. False without rows.
bool LoadPrerequisites(msi::TableSnapshot* snapshot);

int RowLocation(const msi::TableRow& row);

// True when the letter stands anywhere in the `Options` cell.
bool HasOption(const msi::TableRow& row, wchar_t letter);

// True when `languages` is empty or one of its pieces between semicolons is exactly the system's
// default language in decimal. Blanks count; there is no fall-back to a primary language.
bool LanguageMatches(std::wstring_view languages);

// True when the feature is going to be installed, or is installed and stays as it is by request.
bool FeatureQualifies(INSTALLSTATE installed, INSTALLSTATE action);

// The same for the feature of a row; one that the installer does not know does not qualify.
bool RowFeatureQualifies(const msi::InstallerSession& session, const msi::TableRow& row);

// True unless the row's `MissingCondition` is false: an empty condition and one that does not parse
// count as missing.
bool IsMissing(const msi::InstallerSession& session, const msi::TableRow& row);

// True when the row's language, missing condition and feature all select it.
bool IsSelected(const msi::InstallerSession& session, const msi::TableRow& row);

// The name on disk of the file behind `url`: what follows its last separator, cut to its last 30
// characters. Not the rule of download::LocalPath() for a download that is given no name: this
// library gives each of its downloads this one.
std::wstring FileNameFromUrl(std::wstring_view url);

// The name on disk of a downloaded row's setup file: from its URL or, when that has no full stop,
// what follows the first question mark of `TargetName`.
std::wstring DownloadedFileName(const msi::TableRow& row);

// The bare name of the row's setup file, as prompts show it.
std::wstring SetupFileName(const msi::TableRow& row);

// Full path of the row's setup file, whether it exists or not; empty for a location without one and
// when the properties name no folder.
std::wstring SetupFilePath(const msi::InstallerSession& session, const msi::TableRow& row);

}  // namespace prereq

#endif  // PREREQ_ROWS_H_
