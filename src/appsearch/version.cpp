#include "appsearch/version.h"

#include <algorithm>
#include <iterator>

namespace appsearch {
namespace {

// Compatibility: a part above this has no room for another digit. One that equals it may still
// leave the signed range with the next digit and then counts as negative.
constexpr uint32_t kLargestBeforeDigit = 214748364;

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

}  // namespace

bool Version::IsZero() const {
  return std::all_of(std::begin(parts), std::end(parts), [](int32_t part) { return part == 0; });
}

bool ParseVersion(std::string_view text, Version* version) {
  *version = {};
  auto next = text.begin();
  while (version->count < 4) {
    next = std::find_if(next, text.end(), IsDigit);
    if (next == text.end()) break;
    uint32_t part = 0;
    for (; next != text.end() && IsDigit(*next); ++next) {
      if (part > kLargestBeforeDigit) {
        *version = {};
        return false;
      }
      part = part * 10 + static_cast<uint32_t>(*next - '0');
    }
    version->parts[version->count++] = static_cast<int32_t>(part);
  }
  return version->count != 0;
}

int CompareVersions(const Version& left, const Version& right) {
  for (int i = 0; i < 4; ++i) {
    if (left.parts[i] != right.parts[i]) return left.parts[i] < right.parts[i] ? -1 : 1;
  }
  return 0;
}

VersionBounds::VersionBounds(std::string_view lowest, std::string_view highest) {
  // A text that does not parse leaves zeros: no bound.
  (void)ParseVersion(lowest, &lowest_);
  (void)ParseVersion(highest, &highest_);
}

bool VersionBounds::Contains(const Version& version) const {
  if (!HasBound()) return true;
  return !version.IsZero() && (lowest_.IsZero() || CompareVersions(version, lowest_) >= 0) &&
         (highest_.IsZero() || CompareVersions(version, highest_) <= 0);
}

bool VersionBounds::ContainsAny(const std::vector<std::string>& versions) const {
  return std::any_of(versions.begin(), versions.end(), [this](const std::string& text) {
    Version version;
    (void)ParseVersion(text, &version);  // One that does not parse is all zeros.
    return Contains(version);
  });
}

}  // namespace appsearch
