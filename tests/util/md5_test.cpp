#include "util/md5.h"

#include <doctest.h>

#include <algorithm>

#include "support/data_rows.h"
#include "support/temp_folder.h"

TEST_CASE("the digest is that of the published vectors, in pieces of any size and from a file") {
  const test::TempFolder folder;
  for (const test::DataRow& row : test::ReadDataRows("util/digests.txt")) {
    CAPTURE(row.line);
    const std::string text = row.Ansi(0);
    for (const size_t piece : {size_t{1}, size_t{63}, size_t{64}, size_t{65}, size_t{1} << 20}) {
      util::Md5 md5;
      for (size_t at = 0; at < text.size(); at += piece) {
        md5.Update(text.data() + at, std::min(piece, text.size() - at));
      }
      CHECK(md5.Finish() == row.Ansi(1));
    }
    CHECK(util::ReadFileMd5(folder.Write(L"file", text)) == row.Ansi(1));
  }
  CHECK(util::ReadFileMd5(folder / L"missing") == std::nullopt);
  CHECK(util::ReadFileMd5(folder.path()) == std::nullopt);
}
