// md5_bench.exe <file>: prints the digest of the file and the seconds that it took.

#include <windows.h>

#include <cstdio>

#include "stopwatch.h"
#include "util/md5.h"
#include "util/text.h"

int main(int count, char** arguments) {
  if (count != 2) return 2;
  std::optional<std::string> digest;
  const double seconds =
      bench::Seconds([&] { digest = util::ReadFileMd5(util::ToWide(arguments[1])); });
  if (!digest) return 1;
  std::printf("%s %.4f\n", digest->c_str(), seconds);
  return 0;
}
