#include "msi/binary_extractor.h"

#include <doctest.h>

#include <string>

#include "support/msi_session_rig.h"
#include "support/redirected_temp.h"
#include "support/test_package.h"
#include "util/text.h"

using test::MsiSessionRig;
using test::TestPackage;

namespace {

constexpr char kQuery[] = "SELECT `Data` FROM `Binary` WHERE `Name`= '";
constexpr wchar_t kBinaryTable[] =
    L"CREATE TABLE `Binary` (`Name` CHAR(72) NOT NULL, `Data` OBJECT NOT NULL PRIMARY KEY `Name`)";

std::string Pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
  return bytes;
}

}  // namespace

TEST_CASE("a program comes out of the package whole, and goes with its reader") {
  TestPackage package;
  package.Execute(kBinaryTable);
  // Around the size of the pieces in which a stream is copied.
  for (const size_t size : {0u, 1u, 51199u, 51200u, 51201u, 200000u}) {
    package.AddStream(L"Binary", L"Data", L"p" + std::to_wstring(size),
                      package.folder().Write(L"stream", Pattern(size)));
  }
  package.Close();
  MsiSessionRig rig(package);
  const test::RedirectedTemp temp;
  {
    msi::BinaryExtractor extractor(rig.handle(), kQuery);
    std::wstring last;
    for (const size_t size : {0u, 1u, 51199u, 51200u, 51201u, 200000u}) {
      CAPTURE(size);
      const std::wstring path =
          util::ToWide(extractor.ExtractToTempExe("p" + std::to_string(size)));
      CHECK(path.ends_with(L".tmp.exe"));
      CHECK(path != last);
      last = path;
      CHECK((test::ReadWholeFile(path) == Pattern(size)));
      CHECK(temp.Files().size() == 1);
    }
    SUBCASE("an unknown name leaves nothing, not even the file before it") {
      CHECK(extractor.ExtractToTempExe("none").empty());
      CHECK(temp.Files().empty());
    }
    SUBCASE("nor does a name that spoils the query") {
      CHECK(extractor.ExtractToTempExe("it's").empty());
      CHECK(temp.Files().empty());
    }
    SUBCASE("the reader takes its last file with it") {}
  }
  CHECK(temp.Files().empty());
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("a query writes the stream of its first row over what was there") {
  TestPackage package;
  package.Execute(kBinaryTable);
  package.AddStream(L"Binary", L"Data", L"a", package.folder().Write(L"a", "short"));
  const std::wstring target = package.folder().Write(L"target", "something much longer");
  const std::string path = util::ToAnsi(target);
  CHECK(msi::ExtractByQuery(package.database(), "SELECT `Data` FROM `Binary`", path));
  CHECK(test::ReadWholeFile(target) == "short");

  struct Case {
    const char* query;
    std::string path;
  };
  const Case refused[] = {
      {"SELECT `Data` FROM `Missing`", path},
      {"SELECT `Data` FROM `Binary` WHERE `Name`='b'", path},
      {"no query", path},
      {"SELECT `Data` FROM `Binary`", path + "\\in a file"},
  };
  for (const Case& c : refused) {
    CAPTURE(c.query);
    CHECK_FALSE(msi::ExtractByQuery(package.database(), c.query, c.path));
    CHECK(test::ReadWholeFile(target) == "short");
  }
  CHECK_FALSE(msi::ExtractByQuery(0, "SELECT `Data` FROM `Binary`", path));
  package.Close();
  CHECK(::MsiCloseAllHandles() == 0);
}

TEST_CASE("a reader without a session finds nothing and leaves nothing") {
  const test::RedirectedTemp temp;
  msi::BinaryExtractor extractor(0, kQuery);
  CHECK(extractor.ExtractToTempExe("p").empty());
  CHECK(temp.Files().empty());
}
