#include "support/versioned_file.h"

#include <doctest.h>

namespace test {
namespace {

// The fixed part of a version resource: signature, structure version, then the file version.
const std::string kBuiltVersion("\xBD\x04\xEF\xFE\x00\x00\x01\x00\x16\x00\x0B\x00\x2C\x00\x21\x00",
                                16);

}  // namespace

std::string VersionedContent(int major, int minor, int build, int revision) {
  std::string content = ReadWholeFile(ProgramFolder() + L"\\versioned_program.exe");
  const size_t at = content.find(kBuiltVersion);
  REQUIRE(at != content.npos);
  size_t next = at + 8;
  for (const int part : {minor, major, revision, build}) {
    content[next++] = static_cast<char>(part & 0xFF);
    content[next++] = static_cast<char>(part >> 8);
  }
  return content;
}

}  // namespace test
