#ifndef SETUP_ARCHIVE_WRITER_H_
#define SETUP_ARCHIVE_WRITER_H_

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "archive_format.h"
#include "util/unique_handle.h"

namespace setup {

// Makes a program with an archive at its end. The order is Begin, Add for each file, Finish; the
// first failure ends it. Used by one thread. Functions answer a system error number, 0 for success.
class ArchiveWriter {
 public:
  // Copies the program `stub` to `target`, in place of what is there.
  [[nodiscard]] DWORD Begin(const std::wstring& stub, const std::wstring& target);
  // Appends the file at `path` under its own name. ERROR_INVALID_NAME when that is no safe name,
  // ERROR_DUP_NAME when a file of that name was packed before: all groups are unpacked together.
  [[nodiscard]] DWORD Add(int32_t group, const std::wstring& path);
  [[nodiscard]] DWORD Finish();

  [[nodiscard]] const std::vector<ArchiveEntry>& entries() const { return entries_; }

 private:
  DWORD Write(const void* bytes, size_t count);
  DWORD Deflate(HANDLE source, ArchiveEntry* entry);

  util::UniqueFile target_;
  uint64_t offset_ = 0;
  std::vector<ArchiveEntry> entries_;
};

}  // namespace setup

#endif  // SETUP_ARCHIVE_WRITER_H_
