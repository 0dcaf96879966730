#include "prereq/file_check.h"

#include <algorithm>

#include "util/error_text.h"
#include "util/files.h"
#include "util/md5.h"
#include "util/text.h"

namespace prereq {
namespace {

constexpr uint64_t kSizeLimit = uint64_t{1} << 32;

// By the text's first 32 characters; A to F count as a to f.
bool DigestsEqual(const std::string& digest, const std::wstring& expected) {
  return expected.size() >= digest.size() &&
         std::equal(digest.begin(), digest.end(), expected.begin(), [](char digit, wchar_t cell) {
           return static_cast<wchar_t>(digit) == util::FoldAscii(cell);
         });
}

}  // namespace

bool SetupFileMatches(const msi::InstallerSession& session, const Prerequisite& prerequisite,
                      util::UniqueFile* held) {
  const std::wstring& path = prerequisite.file_path;
  // What the package says of its files is not known then: none is known to be right.
  if (!prerequisite.is_check_readable) {
    LogAbout(session, prerequisite, L"is not checked: ExactSize or MD5 cannot be read");
    return false;
  }
  const uint64_t expected_size = prerequisite.exact_size;
  if (expected_size == 0 && prerequisite.digest.empty()) return true;
  const util::UniqueFile own(held == nullptr ? util::OpenForReading(path) : util::UniqueFile());
  if (held != nullptr) *held = util::OpenAndHold(path);
  const HANDLE file = held != nullptr ? held->Get() : own.Get();
  std::optional<uint64_t> size;
  std::optional<std::string> digest;
  if (file == INVALID_HANDLE_VALUE || !(size = util::ReadFileSize(file)) ||
      (!prerequisite.digest.empty() && !(digest = util::ReadFileMd5(file)))) {
    LogAbout(session, prerequisite, path, L" cannot be read: ", util::ErrorText(::GetLastError()));
    return false;
  }
  // Compatibility: sizes of setup files are 32-bit numbers, so one of 4 GiB or more never matches.
  if (expected_size != 0 && (*size >= kSizeLimit || *size != expected_size)) {
    LogAbout(session, prerequisite, path, L" is wrong: its size is ", util::ToDecimal(*size));
    return false;
  }
  if (digest && !DigestsEqual(*digest, prerequisite.digest)) {
    LogAbout(session, prerequisite, path, L" is wrong: its MD5 is ", util::ToWide(*digest));
    return false;
  }
  return true;
}

}  // namespace prereq
