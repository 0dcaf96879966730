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
  // A file of 4 GiB or more never matches, on purpose: sizes of setup files are 32-bit numbers.
  return size && *size < kSizeLimit && *size == expected;
}

}  // namespace

bool SetupFileMatches(const msi::TableRow& row, const std::wstring& path) {
  const auto size = static_cast<uint64_t>(util::ParseDecimal<int64_t>(row.Get(L"ExactSize")));
  const std::wstring digest = row.Get(L"MD5");
  return (size == 0 || FileSizeEquals(path, size)) &&
         (digest.empty() || FileDigestEquals(path, digest));
}

bool FileDigestEquals(const std::wstring& path, const std::wstring& expected) {
  const std::optional<std::string> digest = util::ReadFileMd5(path);
  return digest && expected.size() >= digest->size() &&
         std::equal(digest->begin(), digest->end(), expected.begin(), [](char digit, wchar_t cell) {
           return static_cast<wchar_t>(digit) == util::FoldAscii(cell);
         });
}

}  // namespace prereq
