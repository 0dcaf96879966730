#include "appsearch/value_comparison.h"

#include <algorithm>
#include <optional>

#include "appsearch/version.h"

namespace appsearch {
namespace {

constexpr std::string_view kDigits = "0123456789";

struct Comparison {
  char sign;  // One character for each, whichever way it was written.
  std::string_view other;
};

// `reference` is not empty.
Comparison Split(std::string_view reference) {
  constexpr struct {
    std::string_view written;
    char sign;
  } kLongSigns[] = {{">=", '+'}, {"<=", '-'}, {"<>", '!'}, {"!=", '!'}, {"==", '='}};
  for (const auto& [written, sign] : kLongSigns) {
    if (reference.starts_with(written)) return {sign, reference.substr(written.size())};
  }
  return {reference.front(), reference.substr(1)};
}

bool IsWholeNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of(kDigits) == text.npos;
}

// Without leading zeros the longer number is the larger, and equally long ones order as text.
int CompareNumbers(std::string_view left, std::string_view right) {
  left.remove_prefix(std::min(left.find_first_not_of('0'), left.size()));
  right.remove_prefix(std::min(right.find_first_not_of('0'), right.size()));
  if (left.size() != right.size()) return left.size() < right.size() ? -1 : 1;
  return left.compare(right);
}

std::optional<int> Order(std::string_view left, std::string_view right) {
  if (IsWholeNumber(left) && IsWholeNumber(right)) return CompareNumbers(left, right);
  Version left_version;
  Version right_version;
  if (!ParseVersion(left, &left_version) || !ParseVersion(right, &right_version)) {
    return std::nullopt;
  }
  return CompareVersions(left_version, right_version);
}

}  // namespace

bool Compares(std::string_view value, std::string_view reference) {
  if (reference.empty()) return true;
  const auto [sign, other] = Split(reference);
  const std::optional<int> order = Order(value, other);
  switch (sign) {
    case '=':
      return value == other;
    case '!':
      return value != other;
    case '~':
      return value.find(other) != value.npos;
    case '<':
      return order && *order < 0;
    case '>':
      return order && *order > 0;
    case '+':
      return order && *order >= 0;
    case '-':
      return order && *order <= 0;
    default:
      return false;
  }
}

bool CanCompare(std::string_view reference) {
  if (reference.empty()) return true;
  const auto [sign, other] = Split(reference);
  const bool by_text = std::string_view("=!~").find(sign) != std::string_view::npos;
  const bool by_order = std::string_view("<>+-").find(sign) != std::string_view::npos;
  return by_text || (by_order && Order(other, other));
}

}  // namespace appsearch
