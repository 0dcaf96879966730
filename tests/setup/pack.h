#ifndef TESTS_SETUP_PACK_H_
#define TESTS_SETUP_PACK_H_

#include <doctest.h>

#include <string>
#include <utility>
#include <vector>

#include "archive_writer.h"

namespace test {

// Packs files, each with its group, behind the program `stub` to the program `target`.
inline void Pack(const std::wstring& stub, const std::wstring& target,
                 const std::vector<std::pair<int32_t, std::wstring>>& files) {
  setup::ArchiveWriter writer;
  REQUIRE(writer.Begin(stub, target) == ERROR_SUCCESS);
  for (const auto& [group, path] : files) REQUIRE(writer.Add(group, path) == ERROR_SUCCESS);
  REQUIRE(writer.Finish() == ERROR_SUCCESS);
}

}  // namespace test

#endif  // TESTS_SETUP_PACK_H_
