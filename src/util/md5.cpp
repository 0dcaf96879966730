#include "util/md5.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "util/files.h"

namespace util {
namespace {

static_assert(std::endian::native == std::endian::little, "words are read as they lie in memory");

constexpr DWORD kReadBytes = 64 * 1024;

// One step of each round; the sine constants and shifts are those of the algorithm's definition.
// clang-format off
inline void Step1(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, int s, uint32_t t) {
  a = std::rotl(a + (d ^ (b & (c ^ d))) + x + t, s) + b;
}
// The two halves of the choice never share a bit, so they may be added one after the other. That takes
// one operation off the chain from step to step, the part that limits the speed.
inline void Step2(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, int s, uint32_t t) {
  a += (c & ~d) + x + t;
  a = std::rotl(a + (b & d), s) + b;
}
inline void Step3(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, int s, uint32_t t) {
  a = std::rotl(a + (b ^ (c ^ d)) + x + t, s) + b;
}
inline void Step4(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t x, int s, uint32_t t) {
  a = std::rotl(a + (c ^ (b | ~d)) + x + t, s) + b;
}

void Transform(uint32_t* state, const unsigned char* data, size_t blocks) {
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (; blocks != 0; --blocks, data += 64) {
    const uint32_t a0 = a, b0 = b, c0 = c, d0 = d;
    const auto x = [data](int index) {
      uint32_t word;
      std::memcpy(&word, data + index * 4, 4);
      return word;
    };
    Step1(a, b, c, d, x(0), 7, 0xd76aa478);   Step1(d, a, b, c, x(1), 12, 0xe8c7b756);
    Step1(c, d, a, b, x(2), 17, 0x242070db);  Step1(b, c, d, a, x(3), 22, 0xc1bdceee);
    Step1(a, b, c, d, x(4), 7, 0xf57c0faf);   Step1(d, a, b, c, x(5), 12, 0x4787c62a);
    Step1(c, d, a, b, x(6), 17, 0xa8304613);  Step1(b, c, d, a, x(7), 22, 0xfd469501);
    Step1(a, b, c, d, x(8), 7, 0x698098d8);   Step1(d, a, b, c, x(9), 12, 0x8b44f7af);
    Step1(c, d, a, b, x(10), 17, 0xffff5bb1); Step1(b, c, d, a, x(11), 22, 0x895cd7be);
    Step1(a, b, c, d, x(12), 7, 0x6b901122);  Step1(d, a, b, c, x(13), 12, 0xfd987193);
    Step1(c, d, a, b, x(14), 17, 0xa679438e); Step1(b, c, d, a, x(15), 22, 0x49b40821);

    Step2(a, b, c, d, x(1), 5, 0xf61e2562);   Step2(d, a, b, c, x(6), 9, 0xc040b340);
    Step2(c, d, a, b, x(11), 14, 0x265e5a51); Step2(b, c, d, a, x(0), 20, 0xe9b6c7aa);
    Step2(a, b, c, d, x(5), 5, 0xd62f105d);   Step2(d, a, b, c, x(10), 9, 0x02441453);
    Step2(c, d, a, b, x(15), 14, 0xd8a1e681); Step2(b, c, d, a, x(4), 20, 0xe7d3fbc8);
    Step2(a, b, c, d, x(9), 5, 0x21e1cde6);   Step2(d, a, b, c, x(14), 9, 0xc33707d6);
    Step2(c, d, a, b, x(3), 14, 0xf4d50d87);  Step2(b, c, d, a, x(8), 20, 0x455a14ed);
    Step2(a, b, c, d, x(13), 5, 0xa9e3e905);  Step2(d, a, b, c, x(2), 9, 0xfcefa3f8);
    Step2(c, d, a, b, x(7), 14, 0x676f02d9);  Step2(b, c, d, a, x(12), 20, 0x8d2a4c8a);

    Step3(a, b, c, d, x(5), 4, 0xfffa3942);   Step3(d, a, b, c, x(8), 11, 0x8771f681);
    Step3(c, d, a, b, x(11), 16, 0x6d9d6122); Step3(b, c, d, a, x(14), 23, 0xfde5380c);
    Step3(a, b, c, d, x(1), 4, 0xa4beea44);   Step3(d, a, b, c, x(4), 11, 0x4bdecfa9);
    Step3(c, d, a, b, x(7), 16, 0xf6bb4b60);  Step3(b, c, d, a, x(10), 23, 0xbebfbc70);
    Step3(a, b, c, d, x(13), 4, 0x289b7ec6);  Step3(d, a, b, c, x(0), 11, 0xeaa127fa);
    Step3(c, d, a, b, x(3), 16, 0xd4ef3085);  Step3(b, c, d, a, x(6), 23, 0x04881d05);
    Step3(a, b, c, d, x(9), 4, 0xd9d4d039);   Step3(d, a, b, c, x(12), 11, 0xe6db99e5);
    Step3(c, d, a, b, x(15), 16, 0x1fa27cf8); Step3(b, c, d, a, x(2), 23, 0xc4ac5665);

    Step4(a, b, c, d, x(0), 6, 0xf4292244);   Step4(d, a, b, c, x(7), 10, 0x432aff97);
    Step4(c, d, a, b, x(14), 15, 0xab9423a7); Step4(b, c, d, a, x(5), 21, 0xfc93a039);
    Step4(a, b, c, d, x(12), 6, 0x655b59c3);  Step4(d, a, b, c, x(3), 10, 0x8f0ccc92);
    Step4(c, d, a, b, x(10), 15, 0xffeff47d); Step4(b, c, d, a, x(1), 21, 0x85845dd1);
    Step4(a, b, c, d, x(8), 6, 0x6fa87e4f);   Step4(d, a, b, c, x(15), 10, 0xfe2ce6e0);
    Step4(c, d, a, b, x(6), 15, 0xa3014314);  Step4(b, c, d, a, x(13), 21, 0x4e0811a1);
    Step4(a, b, c, d, x(4), 6, 0xf7537e82);   Step4(d, a, b, c, x(11), 10, 0xbd3af235);
    Step4(c, d, a, b, x(2), 15, 0x2ad7d2bb);  Step4(b, c, d, a, x(9), 21, 0xeb86d391);
    a += a0; b += b0; c += c0; d += d0;
  }
  state[0] = a; state[1] = b; state[2] = c; state[3] = d;
}
// clang-format on

}  // namespace

void Md5::Update(const void* data, size_t size_bytes) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  const size_t used = total_bytes_ % 64;
  total_bytes_ += size_bytes;
  if (used != 0) {
    const size_t taken = std::min(64 - used, size_bytes);
    std::copy_n(bytes, taken, pending_ + used);
    if (used + taken < 64) return;
    Transform(state_, pending_, 1);
    bytes += taken;
    size_bytes -= taken;
  }
  Transform(state_, bytes, size_bytes / 64);
  std::copy_n(bytes + size_bytes / 64 * 64, size_bytes % 64, pending_);
}

std::string Md5::Finish() {
  static constexpr unsigned char kPadding[64] = {0x80};
  const uint64_t total_bits = total_bytes_ * 8;
  Update(kPadding, 1 + (119 - total_bytes_ % 64) % 64);
  Update(&total_bits, sizeof(total_bits));
  std::string digits;
  for (const uint32_t word : state_) {
    for (int shift = 0; shift < 32; shift += 8) {
      digits += "0123456789abcdef"[word >> (shift + 4) & 15];
      digits += "0123456789abcdef"[word >> shift & 15];
    }
  }
  return digits;
}

std::optional<std::string> ReadFileMd5(HANDLE file) {
  Md5 md5;
  std::vector<unsigned char> buffer(kReadBytes);
  for (;;) {
    DWORD read = 0;
    if (!::ReadFile(file, buffer.data(), kReadBytes, &read, nullptr)) return std::nullopt;
    if (read == 0) return md5.Finish();
    md5.Update(buffer.data(), read);
  }
}

std::optional<std::string> ReadFileMd5(const std::wstring& path) {
  const UniqueFile file = OpenForReading(path);
  return file ? ReadFileMd5(file.Get()) : std::nullopt;
}

}  // namespace util
