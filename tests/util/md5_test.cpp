#include "util/md5.h"

#include <doctest.h>

#include <algorithm>
#include <string>

#include "support/temp_folder.h"

namespace {

// The digest of `text` that comes in pieces of that many bytes.
std::string Digest(const std::string& text, size_t piece) {
  util::Md5 md5;
  for (size_t at = 0; at < text.size(); at += piece) {
    md5.Update(text.data() + at, std::min(piece, text.size() - at));
  }
  return md5.Finish();
}

}  // namespace

TEST_CASE("the digest is that of the published vectors, at every block boundary and in pieces") {
  const struct {
    std::string text;
    const char* digest;
  } cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
      {std::string(55, 'a'), "ef1772b6dff9a122358552954ad0df65"},
      {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218"},
      {std::string(57, 'a'), "652b906d60af96844ebd21b674f35e93"},
      {std::string(63, 'a'), "b06521f39153d618550606be297466d5"},
      {std::string(64, 'a'), "014842d480b571495a4a0363793f7367"},
      {std::string(65, 'a'), "c743a45e0d2e6a95cb859adae0248435"},
      {std::string(128, 'a'), "e510683b3f5ffe4093d021808bc6ff70"},
      {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"},
  };
  for (const auto& [text, digest] : cases) {
    CAPTURE(text.size());
    for (const size_t piece : {size_t{1}, size_t{63}, size_t{64}, size_t{65}, size_t{1} << 20}) {
      CHECK(Digest(text, piece) == digest);
    }
  }
}

TEST_CASE("a file is digested to its end") {
  const test::TempFolder folder;
  CHECK(util::ReadFileMd5(folder.Write(L"empty", "")) == "d41d8cd98f00b204e9800998ecf8427e");
  // More than one read of the file, and no whole number of them.
  CHECK(util::ReadFileMd5(folder.Write(L"large", std::string(1000000, 'a'))) ==
        "7707d6ae4e027c70eea2a935c2296f21");
  CHECK(util::ReadFileMd5(folder / L"missing") == std::nullopt);
  CHECK(util::ReadFileMd5(folder.path()) == std::nullopt);
}
