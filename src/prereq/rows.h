#ifndef PREREQ_ROWS_H_
#define PREREQ_ROWS_H_

#include <windows.h>
#include <msi.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "contract/tables.h"
#include "msi/session.h"
#include "msi/table_snapshot.h"

// The rows of `QX_PreRequisite`, one a prerequisite: reading them, and selecting those that a phase
// handles.
namespace prereq {

using contract::kPrerequisiteTable;

// Where a setup file comes from, by the numbers of the column.
enum class Location {
  kCarried = 0,  // With the package: beside it or in its setup executable.
  kDownloaded = 1,
  kNone,  // Every other number: the prerequisite has no setup file.
};

// Letters of `Options`.
inline constexpr wchar_t kMandatoryOption = L'm';
inline constexpr wchar_t kPostInstallOption = L'p';

// One row, read once. What the table leaves empty, or a phase did not ask for, is empty here.
struct Prerequisite {
  // False when a cell could not be read: nothing is known about such a row, and no phase handles
  // it. The two cells of the check stand apart.
  bool is_readable = true;
  bool is_check_readable = true;  // False: no setup file passes the check.
  std::wstring display_name;
  std::wstring url;
  Location location = Location::kCarried;
  uint64_t exact_size = 0;  // In bytes; 0 when any size will do.
  std::wstring digest;      // MD5 in hexadecimal digits; empty when any will do.
  std::wstring arguments;   // Not formatted yet.
  bool is_mandatory = false;
  bool is_after_product = false;
  uint32_t sequence = 0;
  std::wstring languages;
  std::wstring missing_condition;
  std::wstring feature;
  std::wstring file_name;  // Of the setup file, as prompts show it.
  // Full path of the setup file, whether it exists or not; empty for a location without one and
  // when the properties name no folder.
  std::wstring file_path;
};

// All rows in `Sequence` order; none when the table is missing or cannot be read.
std::vector<Prerequisite> LoadPrerequisites(const msi::InstallerSession& session);
// The same without anything that has to do with setup files, for a phase that runs none.
std::vector<Prerequisite> LoadWithoutFiles(const msi::InstallerSession& session);

// One row as a snapshot holds it, without the path of its setup file.
Prerequisite ReadPrerequisite(const msi::TableRow& row);

// What Prerequisite::file_path says for a prerequisite read without it.
std::wstring SetupFilePath(const msi::InstallerSession& session, const Prerequisite& prerequisite);

// True when `languages` is empty or one of its pieces between semicolons is exactly the system's
// default language in decimal. Blanks count; there is no fall-back to a primary language.
bool LanguageMatches(std::wstring_view languages);

// True when the feature is going to be installed, or is installed and stays as it is by request.
bool FeatureQualifies(INSTALLSTATE installed, INSTALLSTATE action);

// The same for a feature of the package; one that the installer does not know does not qualify.
bool FeatureQualifies(const msi::InstallerSession& session, const std::wstring& feature);

// True unless the condition is false: an empty one and one that does not parse count as missing.
bool IsMissing(const msi::InstallerSession& session, const Prerequisite& prerequisite);

// What speaks against handling it, in words for the log: the row itself, its language, missing
// condition or feature, in this order; null when nothing does.
const wchar_t* ReasonToPassOver(const msi::InstallerSession& session,
                                const Prerequisite& prerequisite);

// True when nothing speaks against it.
inline bool IsSelected(const msi::InstallerSession& session, const Prerequisite& prerequisite) {
  return ReasonToPassOver(session, prerequisite) == nullptr;
}

// Those words. The verification asks in an order of its own.
inline constexpr wchar_t kPassedOver[] = L"is passed over: ";
inline constexpr wchar_t kUnreadRow[] = L"its row cannot be read";
inline constexpr wchar_t kOtherLanguage[] = L"Languages does not name the system's";
inline constexpr wchar_t kNotMissing[] = L"MissingCondition is false";
inline constexpr wchar_t kOtherFeature[] = L"Feature_ is not installed this time";

// Writes a line about the prerequisite to the log: its name and the parts of a text.
void LogAbout(const msi::InstallerSession& session, const Prerequisite& prerequisite,
              std::wstring_view text, std::wstring_view more = {}, std::wstring_view rest = {},
              std::wstring_view end = {});

// The name on disk of the file behind `url`: what follows its last delimiter, cut to its last 30
// characters. Not the rule of download::LocalPath() for a download that is given no name: this
// library gives each of its downloads this one.
std::wstring FileNameFromUrl(std::wstring_view url);

}  // namespace prereq

#endif  // PREREQ_ROWS_H_
