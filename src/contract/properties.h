#ifndef CONTRACT_PROPERTIES_H_
#define CONTRACT_PROPERTIES_H_

// Names of the properties that the library reads or sets; packages, setup executables and command
// lines hold the same names.
namespace contract {

// Set by the package or its setup executable.
inline constexpr wchar_t kDownloadFolderProperty[] = L"QX_DOWNLOAD_DIR";
inline constexpr wchar_t kExtractFolderProperty[] = L"QX_EXTRACT_DIR";
inline constexpr wchar_t kSetupPathProperty[] = L"QX_SETUPEXEPATH";
inline constexpr wchar_t kSetupFolderProperty[] = L"SETUPEXEDIR";
// Not empty when the setup executable carries the setup files of the prerequisites.
inline constexpr wchar_t kFilesInsideProperty[] = L"QX_FilesInsideExe";
// Not empty when the setup executable shows a user interface of its own.
inline constexpr wchar_t kExternalUiProperty[] = L"QXEXTERNALUI";
// Not empty: each step leaves a line in the installer's log, or for who listens to its messages.
inline constexpr wchar_t kLogProperty[] = L"QX_LOG";

// Set by the library. Both lists hold full paths joined by kListDelimiter.
inline constexpr wchar_t kFilesProperty[] = L"QX_PREREQFILES";
inline constexpr wchar_t kFoldersProperty[] = L"QX_PREREQDIRS";
inline constexpr wchar_t kListDelimiter = L'\x01';
// Stands for it where it cannot be written; no path holds it.
inline constexpr wchar_t kPrintableListDelimiter = L'|';
// On the command line of an installation that goes on after a restart.
inline constexpr wchar_t kResumeProperty[] = L"QX_RESUME";

// The installer's own.
inline constexpr wchar_t kInstalledProperty[] = L"Installed";
inline constexpr wchar_t kProductCodeProperty[] = L"ProductCode";
inline constexpr wchar_t kOriginalDatabaseProperty[] = L"OriginalDatabase";
inline constexpr wchar_t kSourceFolderProperty[] = L"SourceDir";
inline constexpr wchar_t kLogFileProperty[] = L"MsiLogFileLocation";
inline constexpr wchar_t kHiddenProperty[] = L"MsiHiddenProperties";
inline constexpr wchar_t kSecureProperty[] = L"SecureCustomProperties";

}  // namespace contract

#endif  // CONTRACT_PROPERTIES_H_
