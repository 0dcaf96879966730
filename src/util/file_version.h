#ifndef UTIL_FILE_VERSION_H_
#define UTIL_FILE_VERSION_H_

#include <cstdint>
#include <optional>
#include <string>

namespace util {

struct FileVersion {
  uint16_t parts[4];
};

// The file version that the version resource of the file `path` (in the ANSI code page) states;
// nothing when the file has none or cannot be read.
std::optional<FileVersion> ReadFileVersion(const std::string& path);

}  // namespace util

#endif  // UTIL_FILE_VERSION_H_
