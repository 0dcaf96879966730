#include <windows.h>

#include <doctest.h>

#include <cstring>
#include <string>
#include <vector>

#include "library_image.h"
#include "support/temp_folder.h"

namespace {

std::vector<unsigned char> ReadBytes(const wchar_t* name) {
  const std::string bytes = test::ReadWholeFile(test::ProgramFolder() + L"\\" + name);
  return {bytes.begin(), bytes.end()};
}

}  // namespace

TEST_CASE("a library's bytes say what it exports, and for which processor") {
  std::vector<unsigned char> bytes = ReadBytes(L"named_exports.dll");
  const auto library = check::ReadLibraryImage(bytes);
  REQUIRE(library);
  CHECK(library->is_32_bit);
  CHECK(library->exports.size() == 7);
  CHECK(library->exports.contains(L"DoAppSearchEx"));

  LONG header = 0;
  std::memcpy(&header, &bytes[offsetof(IMAGE_DOS_HEADER, e_lfanew)], sizeof(header));
  const auto machine = static_cast<size_t>(header) + sizeof(DWORD);
  bytes[machine] = 0x64;  // The processors of 64-bit systems.
  bytes[machine + 1] = 0x86;
  const auto other = check::ReadLibraryImage(bytes);
  REQUIRE(other);
  CHECK_FALSE(other->is_32_bit);

  CHECK_FALSE(check::ReadLibraryImage(ReadBytes(L"check_package.exe")));
  CHECK_FALSE(check::ReadLibraryImage({}));
  CHECK_FALSE(check::ReadLibraryImage({'M', 'Z'}));
}

TEST_CASE("a damaged library is read no further than it goes") {
  const std::vector<unsigned char> bytes = ReadBytes(L"named_exports.dll");
  for (size_t size = 0; size < bytes.size(); size += size < 1024 ? 1 : 97) {
    const auto library = check::ReadLibraryImage({bytes.begin(), bytes.begin() + size});
    if (library) CHECK(library->exports.size() <= 7);
  }
  // Each byte of the headers as large as it gets.
  for (size_t at = 0; at < 1024; ++at) {
    std::vector<unsigned char> damaged = bytes;
    damaged[at] = 0xFF;
    CAPTURE(at);
    (void)check::ReadLibraryImage(damaged);
  }
}
