#ifndef APPSEARCH_VERSION_H_
#define APPSEARCH_VERSION_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace appsearch {

struct Version {
  int32_t parts[4] = {};
  int count = 0;  // Parts that were read; the others are 0.

  [[nodiscard]] bool IsZero() const;
};

// Reads up to four numbers from `text`; whatever is not a digit separates them, and what comes
// before the first or after the fourth does not matter. False, with an all-zero version, for a text
// without a digit and for a number far beyond 32 bits.
bool ParseVersion(std::string_view text, Version* version);

// Below, equal or above 0, as `left` is below, equal to or above `right`. The number of parts read
// does not count: 1.2 equals 1.2.0.0.
int CompareVersions(const Version& left, const Version& right);

// The lowest and highest version that a search accepts, both inclusive. A text that is empty, does
// not parse or reads as all zeros sets no bound.
class VersionBounds {
 public:
  VersionBounds(std::string_view lowest, std::string_view highest);

  // True for every version when there is no bound. An all-zero version, which is also that of
  // something without a version, is within no bound.
  [[nodiscard]] bool Contains(const Version& version) const;

  // True when one of the versions is within the bounds; without bounds, when there is any text.
  [[nodiscard]] bool ContainsAny(const std::vector<std::string>& versions) const;

 private:
  [[nodiscard]] bool HasBound() const { return !lowest_.IsZero() || !highest_.IsZero(); }

  Version lowest_;
  Version highest_;
};

}  // namespace appsearch

#endif  // APPSEARCH_VERSION_H_
