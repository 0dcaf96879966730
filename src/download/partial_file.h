#ifndef DOWNLOAD_PARTIAL_FILE_H_
#define DOWNLOAD_PARTIAL_FILE_H_

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

#include "util/unique_handle.h"

namespace download {

// Comes after the target's name in that of the partial file.
inline constexpr char kPartialFileEnding[] = ".part";

// The bytes that have arrived so far, in a file beside the target. It outlives a transfer that
// failed or was cancelled. Results are 0 or an error of the system. Used on the worker thread.
class PartialFile {
 public:
  PartialFile() = default;
  // Nothing is touched yet. Texts are in the ANSI code page.
  explicit PartialFile(std::string target)
      : target_(std::move(target)), path_(target_ + kPartialFileEnding) {}

  // How much of it an earlier transfer left. 0 without one, for one whose size cannot be told, and
  // for one of 4 GiB or more, which cannot be continued because positions have 32 bits.
  [[nodiscard]] uint32_t ReadOldSize() const;

  // Makes the folders above it.
  [[nodiscard]] uint32_t MakeFolders() const;

  // Opens it to go on at its end, or made anew, for this transfer alone.
  [[nodiscard]] uint32_t Open(bool go_on);

  [[nodiscard]] uint32_t Write(const char* data, DWORD count);

  // The size once everything that was written is on its way to the disk; nothing when it cannot be
  // told.
  [[nodiscard]] std::optional<uint64_t> FlushedSize() const;
  [[nodiscard]] std::optional<uint64_t> Size() const;

  // Closes it and puts it in the place of the target. Two seconds are given to who holds one of the
  // files open. Compatibility: a target that cannot be replaced stays, and nobody is told.
  void Finish();

 private:
  std::string target_;
  std::string path_;
  util::UniqueFile file_;
};

}  // namespace download

#endif  // DOWNLOAD_PARTIAL_FILE_H_
