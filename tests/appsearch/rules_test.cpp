#include <doctest.h>

#include <string>
#include <vector>

#include "appsearch/value_comparison.h"
#include "appsearch/version.h"
#include "support/data_rows.h"
#include "util/text.h"

using appsearch::ParseVersion;
using appsearch::Version;
using test::DataRow;

namespace {

std::string Read(std::string_view text) {
  Version version;
  version.parts[2] = 77;  // What was there before must not show through.
  std::string result = ParseVersion(text, &version) ? "" : "-";
  for (const int32_t part : version.parts) result += std::to_string(part) + ".";
  result.back() = '/';
  return result + std::to_string(version.count);
}

int Order(const std::string& one, const std::string& other) {
  Version left;
  Version right;
  REQUIRE(ParseVersion(one, &left));
  REQUIRE(ParseVersion(other, &right));
  const int order = appsearch::CompareVersions(left, right);
  return (order > 0) - (order < 0);
}

bool IsWithin(const DataRow& row) {
  std::vector<std::string> versions;
  if (row[3] != L"-") {
    for (const std::wstring& text : util::Split(row[3], L';'))
      versions.push_back(util::ToAnsi(text));
  }
  return appsearch::VersionBounds(row.Ansi(1), row.Ansi(2)).ContainsAny(versions);
}

}  // namespace

TEST_CASE(
    "versions are read, ordered and held against bounds, and values compared by their rules") {
  for (const DataRow& row : test::ReadDataRows("appsearch/rules.txt")) {
    CAPTURE(row.line);
    if (row[0] == L"read") {
      CHECK(Read(row.Ansi(1)) == row.Ansi(2));
    } else if (row[0] == L"order") {
      CHECK(Order(row.Ansi(1), row.Ansi(2)) == row.Number(3));
      CHECK(Order(row.Ansi(2), row.Ansi(1)) == -row.Number(3));
    } else if (row[0] == L"bounds") {
      CHECK(IsWithin(row) == row.Yes(4));
    } else {
      CHECK(appsearch::Compares(row.Ansi(1), row.Ansi(2)) == row.Yes(3));
      CHECK(appsearch::CanCompare(row.Ansi(2)) == (row[3] != L"never"));
    }
  }
}
