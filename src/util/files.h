#ifndef UTIL_FILES_H_
#define UTIL_FILES_H_

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

#include "util/unique_handle.h"

// Every call uses the wide form on Windows NT 4.0 to 11, with the path unchanged (so "\\?\" paths
// work), and the ANSI form with the path in the ANSI code page on the older one.
namespace util {

// True when a file or folder of that name exists. Only full paths are looked at: one that neither
// begins with a backslash nor contains a colon does not exist.
bool PathExists(const std::wstring& path);

// True when `path` is a full path as above and names a file, not a folder.
bool FileExists(const std::wstring& path);

// Opens for reading; other programs may go on reading and writing it. Empty, with the reason in
// GetLastError(), when that fails.
UniqueFile OpenForReading(const std::wstring& path);

// Opens for reading; until it is closed nobody can write, rename or delete the file. Fails where
// somebody who may write has it open already. Empty on failure, as above.
UniqueFile OpenAndHold(const std::wstring& path);

// Opens for writing, in place of any existing file; others may read. Empty on failure, as above.
UniqueFile CreateForWriting(const std::wstring& path);

// As above, but for a file that is not there yet: fails with ERROR_FILE_EXISTS for one that is.
UniqueFile CreateNewForWriting(const std::wstring& path);

// Size in bytes, of an open file or of the one at `path`; nothing when it cannot be told.
std::optional<uint64_t> ReadFileSize(HANDLE file);
std::optional<uint64_t> ReadFileSize(const std::wstring& path);

// One attempt each, attributes are not changed. A folder goes only when it is empty. False, with
// the reason in GetLastError(), when it stays.
bool RemoveFile(const std::wstring& path);
bool RemoveFolder(const std::wstring& path);

// Makes one folder. False, with the reason in GetLastError(), when it cannot, also when it is
// there.
bool MakeFolder(const std::wstring& path);
// Makes a folder and those above it that are missing; either slash separates. Answers a system
// error number, 0 also when it is there already and for an empty path or a bare drive.
[[nodiscard]] DWORD MakeFolders(const std::wstring& path);

// `path` in the ANSI code page. Where that cannot say the names, the short names of what is there
// take their place, if the disk has some; nothing when that does not help either.
std::optional<std::string> ToAnsiPath(const std::wstring& path);

// The user's folder for temporary files, in the ANSI code page (see ToAnsiPath) and with a
// backslash at its end; empty on failure.
std::string ReadTempFolder();

// The system's folder for its programs, with a backslash at its end; empty on failure.
std::wstring SystemFolder();

}  // namespace util

#endif  // UTIL_FILES_H_
