#include "appsearch/version.h"

#include <doctest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

using appsearch::CompareVersions;
using appsearch::ParseVersion;
using appsearch::Version;
using appsearch::VersionBounds;

namespace {

// "a.b.c.d/count" of what was read, with a "-" before it when the text does not parse.
std::string Read(std::string_view text) {
  Version version;
  version.parts[2] = 77;  // What was there before must not show through.
  std::string result = ParseVersion(text, &version) ? "" : "-";
  for (const int32_t part : version.parts) result += std::to_string(part) + ".";
  result.back() = '/';
  return result + std::to_string(version.count);
}

// The same rules from the runs of digits, with numbers that cannot overflow.
std::string Model(const std::string& text) {
  std::vector<std::string> runs(1);
  for (const char letter : text) {
    if (letter >= '0' && letter <= '9') {
      runs.back() += letter;
    } else if (!runs.back().empty()) {
      runs.emplace_back();
    }
  }
  if (runs.back().empty()) runs.pop_back();
  if (runs.size() > 4) runs.resize(4);
  std::string result;
  for (size_t i = 0; i < 4; ++i) {
    const std::string run = i < runs.size() ? runs[i] : "0";
    if (run.size() > 18) return "-0.0.0.0/0";
    if (std::stoll(run) / 10 > 214748364) return "-0.0.0.0/0";
    result += std::to_string(static_cast<int32_t>(std::stoll(run))) + (i < 3 ? "." : "/");
  }
  return runs.empty() ? "-0.0.0.0/0" : result + std::to_string(runs.size());
}

}  // namespace

TEST_CASE("a version is up to four runs of digits") {
  struct Case {
    std::string text;
    std::string read;
  };
  const Case cases[] = {
      {"1.2.3.4", "1.2.3.4/4"},
      {"1-2-3-4", "1.2.3.4/4"},
      {"1.2 build 3.4", "1.2.3.4/4"},
      {"v2", "2.0.0.0/1"},
      {"1..2", "1.2.0.0/2"},
      {"1.2.", "1.2.0.0/2"},
      {"1.2.3.4.5", "1.2.3.4/4"},
      {"1.2.3.4.99999999999", "1.2.3.4/4"},
      {"007.010", "7.10.0.0/2"},
      {"0.0.0.0", "0.0.0.0/4"},
      {"", "-0.0.0.0/0"},
      {"none", "-0.0.0.0/0"},
      {"...", "-0.0.0.0/0"},
      // The edge of the signed range; just beyond it a number turns negative.
      {"2147483647", "2147483647.0.0.0/1"},
      {"2147483648", "-2147483648.0.0.0/1"},
      {"1.2147483649", "1.-2147483647.0.0/2"},
      {"2147483650", "-0.0.0.0/0"},
      {"1.2.3.2147483650", "-0.0.0.0/0"},
      {"214748364", "214748364.0.0.0/1"},
      {"214748365", "214748365.0.0.0/1"},
      {"00000000000000000000000000000001", "1.0.0.0/1"},
  };
  for (const Case& c : cases) {
    CAPTURE(c.text);
    CHECK(Read(c.text) == c.read);
  }
}

TEST_CASE("any text reads as its runs of digits say") {
  std::mt19937 random(20);
  const std::string letters = "0123456789999.. -x\xFF";
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 24, ' ');
    for (char& letter : text) letter = letters[random() % letters.size()];
    const std::string expected = Model(text);
    if (Read(text) == expected) continue;
    CAPTURE(text);
    CHECK(Read(text) == expected);
  }
}

TEST_CASE("versions order part by part") {
  struct Case {
    std::string left;
    std::string right;
    int order;
  };
  const Case cases[] = {
      {"1.2", "1.2.0.0", 0},      {"1.10", "1.9", 1},        {"1.9.9.9", "2", -1},
      {"1.2.3.4", "1.2.3.5", -1}, {"1.2.4.0", "1.2.3.9", 1}, {"2147483648", "0", -1},
      {"0.0.0.1", "0", 1},
  };
  for (const Case& c : cases) {
    CAPTURE(c.left);
    CAPTURE(c.right);
    Version left;
    Version right;
    REQUIRE(ParseVersion(c.left, &left));
    REQUIRE(ParseVersion(c.right, &right));
    const int order = CompareVersions(left, right);
    CHECK((order > 0) - (order < 0) == c.order);
    CHECK(CompareVersions(right, left) == -order);
  }
}

TEST_CASE("bounds are inclusive, and zeros set none") {
  using Texts = std::vector<std::string>;
  struct Case {
    std::string lowest;
    std::string highest;
    Texts texts;
    bool contained;
  };
  const Case cases[] = {
      {"", "", {}, false},
      {"", "", {"anything"}, true},
      {"0", "0.0.0.0", {""}, true},
      {"none", "99999999999", {"x"}, true},
      {"1.0", "", {"1.0"}, true},
      {"1.0", "", {"0.9"}, false},
      {"1.0", "", {"0.9", "1.1"}, true},
      {"", "2.0", {"2.0.0.0"}, true},
      {"", "2.0", {"2.0.0.1"}, false},
      {"1.0", "2.0", {"0.5", "2.5"}, false},
      {"2.0", "1.0", {"1.0", "1.5", "2.0"}, false},
      // No version is within no bound, not even within an upper one.
      {"", "2.0", {"0.0.0.0", "none", ""}, false},
      {"", "2.0", {"none", "1.0"}, true},
      {"0.0.0.1", "", {"0.0.0.0"}, false},
      {"1.0", "", {}, false},
  };
  for (const Case& c : cases) {
    CAPTURE(c.lowest);
    CAPTURE(c.highest);
    CAPTURE(c.texts.size());
    CHECK(VersionBounds(c.lowest, c.highest).ContainsAny(c.texts) == c.contained);
  }
}
