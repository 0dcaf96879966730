#ifndef UTIL_FILE_VERSION_H_
#define UTIL_FILE_VERSION_H_

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

#include "util/unique_handle.h"

namespace util {

struct FileVersion {
  uint16_t parts[4];
};

// Reads version resources with the system's library for that, which it loads when it is made and
// keeps as long as it lives. Make it before a FileRedirectionOff.
class FileVersionReader {
 public:
  FileVersionReader();

  // The file version that the version resource of the file `path` (in the ANSI code page) states;
  // nothing when the file has none or cannot be read.
  [[nodiscard]] std::optional<FileVersion> Read(const std::string& path) const;

 private:
  UniqueModule library_;
  decltype(&::GetFileVersionInfoSizeA) get_size_ = nullptr;
  decltype(&::GetFileVersionInfoA) get_ = nullptr;
  decltype(&::VerQueryValueA) query_ = nullptr;
};

}  // namespace util

#endif  // UTIL_FILE_VERSION_H_
