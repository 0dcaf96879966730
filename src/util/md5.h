#ifndef UTIL_MD5_H_
#define UTIL_MD5_H_

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace util {

// The MD5 digest of RFC 1321 over bytes that come in pieces.
class Md5 {
 public:
  void Update(const void* data, size_t size_bytes);

  // The digest as 32 lower-case hexadecimal digits. The object is used up.
  [[nodiscard]] std::string Finish();

 private:
  uint32_t state_[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  uint64_t total_bytes_ = 0;
  unsigned char pending_[64];  // The total modulo 64 says how many of these are in use.
};

// The digest of a whole file, of an open one from where it stands; nothing when it cannot be read
// to its end.
[[nodiscard]] std::optional<std::string> ReadFileMd5(HANDLE file);
[[nodiscard]] std::optional<std::string> ReadFileMd5(const std::wstring& path);

}  // namespace util

#endif  // UTIL_MD5_H_
