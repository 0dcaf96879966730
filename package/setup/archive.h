#ifndef SETUP_ARCHIVE_H_
#define SETUP_ARCHIVE_H_

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "archive_format.h"
#include "util/unique_handle.h"

namespace setup {

// Called on the thread that unpacks.
class UnpackListener {
 public:
  virtual ~UnpackListener() = default;
  // `bytes` of the file are written so far. False stops.
  virtual bool OnUnpacked(uint64_t bytes) = 0;
};

// Reads the archive at the end of a program, also of one that was signed afterwards. Neither a
// truncated nor an altered file makes it write outside of the folder it is given, or leave a file
// behind that is not the one that was packed. Used by one thread.
//
// Functions answer a system error number, 0 for success.
class Archive {
 public:
  // ERROR_RESOURCE_DATA_NOT_FOUND without an archive, ERROR_FILE_CORRUPT with one that is damaged.
  [[nodiscard]] DWORD Open(const std::wstring& path);

  [[nodiscard]] const std::vector<ArchiveEntry>& entries() const { return entries_; }

  // Unpacks an entry of this archive to `path`, in place of what is there. It is written under
  // another name first: whoever finds a file at `path` finds a whole one, and after a failure there
  // is nothing new. ERROR_FILE_CORRUPT when it is not what was packed, ERROR_INSTALL_USEREXIT when
  // the listener (may be null) stopped it, else the system's reason, such as ERROR_DISK_FULL.
  [[nodiscard]] DWORD Unpack(const ArchiveEntry& entry, const std::wstring& path,
                             UnpackListener* listener) const;

 private:
  DWORD Inflate(const ArchiveEntry& entry, HANDLE target, UnpackListener* listener) const;

  util::UniqueFile file_;
  std::vector<ArchiveEntry> entries_;
};

}  // namespace setup

#endif  // SETUP_ARCHIVE_H_
