#include "msi/binary_extractor.h"

#include <doctest.h>

#include "support/action_fixture.h"
#include "support/redirected_temp.h"
#include "support/worker.h"
#include "util/files.h"
#include "util/text.h"

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
  test::ActionFixture fixture;
  test::TestPackage& package = fixture.package();
  package.Execute(kBinaryTable);
  // Around the size of the pieces in which a stream is copied.
  const size_t sizes[] = {0, 1, 51199, 51200, 51201, 200000};
  for (const size_t size : sizes) {
    package.AddStream(L"Binary", L"Data", L"p" + std::to_wstring(size),
                      package.folder().Write(L"stream", Pattern(size)));
  }
  const msi::InstallerSession& session = fixture.session().session();
  const test::RedirectedTemp temp;
  // An unknown name leaves nothing, not even the file before it; nor does one that spoils the
  // query. The reader takes its last file with it.
  for (const char* last : {"none", "it's", "p1"}) {
    msi::BinaryExtractor extractor(session, kQuery);
    std::wstring before;
    for (const size_t size : sizes) {
      CAPTURE(size);
      const std::wstring path =
          util::ToWide(extractor.ExtractToTempExe("p" + std::to_string(size)));
      CHECK(path.ends_with(L".tmp.exe"));
      CHECK(path != before);
      before = path;
      CHECK((test::ReadWholeFile(path) == Pattern(size)));
      CHECK(temp.Files().size() == 1);
    }
    const bool is_there = last == std::string("p1");
    CHECK(extractor.ExtractToTempExe(last).empty() != is_there);
    CHECK(temp.Files().size() == (is_there ? 1 : 0));
  }
  CHECK(temp.Files().empty());
  const msi::InstallerSession none(0);
  CHECK(msi::BinaryExtractor(none, kQuery).ExtractToTempExe("p1").empty());
  CHECK(temp.Files().empty());
}

TEST_CASE("nobody gets between a program and its start") {
  test::ActionFixture fixture;
  test::TestPackage& package = fixture.package();
  package.Execute(kBinaryTable);
  const std::string content = Pattern(60000);
  package.AddStream(L"Binary", L"Data", L"p", package.folder().Write(L"stream", content));
  const msi::InstallerSession& session = fixture.session().session();
  const test::RedirectedTemp temp;
  const std::wstring folder = util::ToWide(util::ReadTempFolder());
  SUBCASE("names that are taken are passed over") {
    // Every other of those that come next: the system counts up from the time.
    wchar_t next[MAX_PATH];
    const UINT first = ::GetTempFileNameW(folder.c_str(), L"ACS", 0, next);
    for (UINT number = first; number < first + 2000; number += 2) {
      wchar_t name[MAX_PATH];
      ::GetTempFileNameW(folder.c_str(), L"ACS", number & 0xFFFF ? number & 0xFFFF : 1, name);
      REQUIRE(util::CreateForWriting(name + std::wstring(L".exe")));
    }
    const auto planted = temp.Files();
    msi::BinaryExtractor extractor(session, kQuery);
    for (int round = 0; round < 8; ++round) {
      const std::wstring path = util::ToWide(extractor.ExtractToTempExe("p"));
      CHECK_FALSE(planted.contains(path));
      CHECK((test::ReadWholeFile(path) == content));
    }
    CHECK(extractor.ExtractToTempExe("none").empty());
    CHECK(temp.Files() == planted);
    for (const std::wstring& path : planted) CHECK(test::ReadWholeFile(path).empty());
  }
  SUBCASE("the file is held until it is let go") {
    msi::BinaryExtractor extractor(session, kQuery);
    const std::wstring path = util::ToWide(extractor.ExtractToTempExe("p"));
    CHECK_FALSE(util::CreateForWriting(path));
    CHECK_FALSE(util::RemoveFile(path));
    CHECK_FALSE(::MoveFileW(path.c_str(), (path + L".old").c_str()));
    extractor.LetGo();
    CHECK(util::CreateForWriting(path));
  }
  SUBCASE("what somebody else has written is not given away") {
    volatile bool ends = false;
    const test::Worker attacker([&] {
      while (!ends) {
        for (const std::wstring& path : temp.Files()) (void)util::CreateForWriting(path);
      }
    });
    msi::BinaryExtractor extractor(session, kQuery);
    int wrong = 0;
    for (int round = 0; round < 20; ++round) {
      const std::wstring path = util::ToWide(extractor.ExtractToTempExe("p"));
      ::Sleep(1);
      if (!path.empty() && test::ReadWholeFile(path) != content) ++wrong;
    }
    ends = true;
    attacker.Join();
    CHECK(wrong == 0);
  }
}

TEST_CASE("a query writes the stream of its first row over what was there") {
  test::TestPackage package;
  package.Execute(kBinaryTable);
  package.AddStream(L"Binary", L"Data", L"a", package.folder().Write(L"a", "short"));
  const std::wstring target = package.folder().Write(L"target", "something much longer");
  const std::string path = util::ToAnsi(target);
  const char* const query = "SELECT `Data` FROM `Binary`";
  CHECK(msi::ExtractByQuery(package.database(), query, path));
  CHECK(test::ReadWholeFile(target) == "short");
  for (const char* other : {"SELECT `Data` FROM `Missing`", "no query",
                            "SELECT `Data` FROM `Binary` WHERE `Name`='b'"}) {
    CAPTURE(other);
    CHECK_FALSE(msi::ExtractByQuery(package.database(), other, path));
  }
  CHECK_FALSE(msi::ExtractByQuery(package.database(), query, path + "\\in a file"));
  CHECK_FALSE(msi::ExtractByQuery(0, query, path));
  CHECK(test::ReadWholeFile(target) == "short");
  package.Close();
  CHECK(::MsiCloseAllHandles() == 0);
}
