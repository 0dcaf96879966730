// The package checker on packages that are damaged at random: it always has something to say.

#include <windows.h>

#include <doctest.h>

#include <algorithm>
#include <string>

#include "reliability/part.h"
#include "tools/good_package.h"
#include "tools/run_checker.h"

namespace {

constexpr size_t kSector = 512;

// What a bad disk, a broken transfer or a stranger makes of a file.
std::string Damaged(std::string bytes, test::Random* random) {
  const size_t times = random->Between(1, 20);
  for (size_t i = 0; i < times && !bytes.empty(); ++i) {
    const size_t at = random->Below(bytes.size());
    const size_t sectors = bytes.size() / kSector;
    const size_t length = std::min(random->Between(1, 64), bytes.size() - at);
    switch (random->Below(6)) {
      case 0:
        bytes[at] = static_cast<char>(random->Next());
        break;
      case 1:
        bytes.replace(at, length, random->Bytes(length));
        break;
      case 2:
        bytes.replace(at, length, length, random->Pick({'\0', '\xFF'}));
        break;
      case 3:  // The tables of sectors and the directory lie at the start and the end.
        bytes[random->Below(std::min<size_t>(bytes.size(), 2 * kSector))] =
            static_cast<char>(random->Next());
        break;
      case 4:
        if (sectors == 0) break;
        bytes.replace(random->Below(sectors) * kSector, kSector,
                      bytes.substr(random->Below(sectors) * kSector, kSector));
        break;
      default:
        if (random->Chance(10)) bytes.resize(at);
    }
  }
  return bytes;
}

}  // namespace

TEST_CASE("damaged packages") {
  const test::GoodPackage good;
  const std::string bytes = test::ReadWholeFile(good.path());
  test::Part part("damaged packages", 200);
  part.ForEachRun([&](test::Random* random) {
    good.folder().Write(L"damaged.msi", Damaged(bytes, random));
    const test::CheckerRun run = test::RunChecker(good.folder(), L"/limit 5 damaged.msi");
    if (run.output.find("does not get through") != run.output.npos) part.Count("given up");
    if (run.output.find("installer fails") != run.output.npos)
      part.Count("crashes of the installer");
    part.Count(run.exit_code == 0 ? "passed" : run.exit_code == 1 ? "with findings" : "not opened");
    part.FaultIf(run.exit_code > 2, "the checker ended with " + std::to_string(run.exit_code));
    part.FaultIf(run.output.find("damaged.msi: ") == run.output.npos, "the checker said nothing");
  });
}
