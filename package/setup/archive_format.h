#ifndef SETUP_ARCHIVE_FORMAT_H_
#define SETUP_ARCHIVE_FORMAT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// An archive is appended to a program:
//
//   program | compressed files | filling | index | footer
//
// Files are raw deflate streams, one each. The filling makes the whole a multiple of eight bytes
// long, so a signature that is appended later begins right after the footer. Numbers are
// little-endian; index and footer are guarded by CRC-32.
namespace setup {

// The group that is unpacked before the installer starts; its first file is the package. The other
// groups are the prerequisites, numbered as the library asks for them.
constexpr int32_t kPackageGroup = 0;

struct ArchiveEntry {
  int32_t group = kPackageGroup;
  std::wstring name;    // Without a folder.
  uint64_t offset = 0;  // Of the compressed bytes, from the start of the whole file.
  uint64_t packed_bytes = 0;
  uint64_t bytes = 0;
  uint32_t crc = 0;  // CRC-32 of the unpacked bytes.
};

struct ArchiveFooter {
  uint64_t index_offset = 0;
  uint32_t index_bytes = 0;
  uint32_t index_crc = 0;
};

constexpr size_t kFooterBytes = 28;
constexpr size_t kAlignment = 8;
// No index comes near it: memory is never asked for on the word of a damaged file.
constexpr uint32_t kMostIndexBytes = 4 << 20;

// True for a name that makes a plain file in whatever folder it is put: nothing that leads
// elsewhere, to a device or to another stream, and nothing that the system would write in another
// way.
[[nodiscard]] bool IsSafeName(std::wstring_view name);

std::string EncodeIndex(const std::vector<ArchiveEntry>& entries);
std::string EncodeFooter(uint64_t index_offset, std::string_view index);

// Nothing when the bytes are not what the functions above make, or hold an unsafe name, or an entry
// that does not lie wholly before the index.
std::optional<ArchiveFooter> DecodeFooter(std::string_view bytes);
std::optional<std::vector<ArchiveEntry>> DecodeIndex(std::string_view bytes,
                                                     const ArchiveFooter& footer);

}  // namespace setup

#endif  // SETUP_ARCHIVE_FORMAT_H_
