#include "prereq/file_check.h"

#include <algorithm>

#include "util/files.h"
#include "util/md5.h"
#include "util/text.h"

namespace prereq {
namespace {

constexpr uint64_t kSizeLimit = uint64_t{1} << 32;

bool FileSizeEquals(const std::wstring& path, uint64_t expected) {
  const std::optional<uint64_t> size = util::ReadFileSize(path);
  // Compatibility: sizes of setup files are 32-bit numbers, so one of 4 GiB or more never matches.
  return size && *size < kSizeLimit && *size == expected;
}

// By the text's first 32 characters; A to F count as a to f.
bool FileDigestEquals(const std::wstring& path, const std::wstring& expected) {
  const std::optional<std::string> digest = util::ReadFileMd5(path);
  return digest && expected.size() >= digest->size() &&
         std::equal(digest->begin(), digest->end(), expected.begin(), [](char digit, wchar_t cell) {
           return static_cast<wchar_t>(digit) == util::FoldAscii(cell);
         });
}

}  // namespace

bool SetupFileMatches(const Prerequisite& prerequisite, const std::wstring& path) {
  return (prerequisite.exact_size == 0 || FileSizeEquals(path, prerequisite.exact_size)) &&
         (prerequisite.digest.empty() || FileDigestEquals(path, prerequisite.digest));
}

}  // namespace prereq
