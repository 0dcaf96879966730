#include "msi/table_snapshot.h"

#include <doctest.h>

#include <algorithm>

#include "support/action_fixture.h"

using msi::TableRow;
using msi::TableSnapshot;
using Cells = std::vector<std::wstring>;

namespace {

// A package whose tables a test reads without a session. No handle may be left when it goes.
class OpenPackage : public test::TestPackage {
 public:
  ~OpenPackage() { CHECK(::MsiCloseAllHandles() == 0); }
  // Commits what was written and gives the snapshot a database handle of its own.
  msi::UniqueMsiHandle Reopen() {
    Close();
    msi::UniqueMsiHandle database;
    REQUIRE(::MsiOpenDatabaseW(path().c_str(), MSIDBOPEN_READONLY, database.Receive()) ==
            ERROR_SUCCESS);
    return database;
  }
};

Cells Column(const TableSnapshot& snapshot, const wchar_t* name) {
  Cells cells;
  for (const TableRow& row : snapshot) cells.push_back(row.Get(name));
  return cells;
}

}  // namespace

TEST_CASE("columns, condition and order go into the query as they are given") {
  OpenPackage package;
  package.Execute(
      L"CREATE TABLE `Item` (`Key` CHAR(20) NOT NULL, `Order` SHORT, `Big` LONG, `Text` CHAR(0) "
      L"LOCALIZABLE PRIMARY KEY `Key`)");
  const std::wstring long_text(3000, L't');
  for (const std::wstring& row :
       {L"(`Key`,`Order`,`Big`,`Text`) VALUES ('c',3,-2147483647,'" + long_text + L"')",
        std::wstring(L"(`Key`,`Order`,`Big`) VALUES ('a',0,2147483647)"),
        std::wstring(L"(`Key`,`Order`,`Text`) VALUES ('b',-32767,'x')"),
        std::wstring(L"(`Key`,`Text`) VALUES ('n','null order')")}) {
    package.Execute(L"INSERT INTO `Item` " + row);
  }
  TableSnapshot items(package.Reopen(), L"Item");
  CHECK(items.Load({L"Key", L"Text"}, {L"Order", L"Big"}, L"`Key` <> 'n'"));
  CHECK(items.query_text() ==
        L"SELECT `Key`,`Text` FROM `Item` WHERE `Key` <> 'n' ORDER BY `Order`,`Big`");
  CHECK(Column(items, L"Key") == Cells{L"b", L"a", L"c"});
  CHECK(Column(items, L"Text") == Cells{L"x", L"", long_text});
  CHECK(Column(items, L"Order") == Cells{L"", L"", L""});  // Not asked for.

  CHECK(items.Load({}, {L"Order"}));
  CHECK(items.query_text() == L"SELECT * FROM `Item` ORDER BY `Order`");
  CHECK(Column(items, L"Order") == Cells{L"", L"-32767", L"0", L"3"});
  CHECK(Column(items, L"Big") == Cells{L"", L"", L"2147483647", L"-2147483647"});
  CHECK(Column(items, L"order") == Cells(4));  // Names are exact.

  const TableRow kept = *items.begin();
  CHECK_FALSE(items.Load({L"Key"}, {}, L"`Key` = 'none'"));
  CHECK(items.size() == 0);
  CHECK(kept.Get(L"Key") == L"n");
  // What the table has not is left out, and all columns come when it has none of them.
  CHECK(items.Load({L"Missing", L"Key"}, {L"Also missing", L"Order"}, L"`Key` <> 'n'"));
  CHECK(items.query_text() == L"SELECT `Key` FROM `Item` WHERE `Key` <> 'n' ORDER BY `Order`");
  CHECK(Column(items, L"Missing") == Cells(3));
  CHECK(items.Load({L"Missing"}, {L"Also missing"}));
  CHECK(Column(items, L"Missing") == Cells(4));
  // Once a query failed, the snapshot does nothing more.
  CHECK_FALSE(items.Load({L"Missing"}, {}, L"no condition"));
  CHECK_FALSE(items.Load({L"Key"}));
  CHECK(items.size() == 0);
}

TEST_CASE("a table that is not there, and no database at all, give no rows and no message") {
  test::ActionFixture fixture;
  const msi::InstallerSession& session = fixture.session().session();
  fixture.ui().Clear();
  TableSnapshot absent(session, L"NoSuchTable");
  CHECK_FALSE(absent.Load({}));
  CHECK_FALSE(absent.Fetch(nullptr, TableSnapshot::kNoSizeLimit));
  TableSnapshot nothing(msi::InstallerSession(0), L"Property");
  CHECK_FALSE(nothing.Load({}));
  CHECK_FALSE(nothing.LoadJoined({{L"Feature", L"Feature"}, {L"FeatureComponents", L"Feature_"}}));
  TableSnapshot not_asked(session, L"Property");
  CHECK_FALSE(not_asked.Fetch(nullptr, TableSnapshot::kNoSizeLimit));
  TableSnapshot there(session, L"Property");
  CHECK(there.Load({L"Value"}, {}, L"`Property` = 'ProductName'"));
  CHECK(Column(there, L"Value") == Cells{L"Test product"});
  CHECK(fixture.ui().messages().empty());
}

TEST_CASE("several tables are joined to the first") {
  OpenPackage package;
  package.AddFeature(L"Second", 1, 10);
  TableSnapshot joined(package.Reopen(), L"");
  CHECK(joined.LoadJoined({{L"Component", L"Component"},
                           {L"FeatureComponents", L"Component_"},
                           {L"File", L"Component_"}}));
  CHECK(joined.query_text() ==
        L"SELECT * FROM `Component`, `FeatureComponents`, `File` WHERE `Component`.`Component` = "
        L"`FeatureComponents`.`Component_` AND `Component`.`Component` = `File`.`Component_`");
  CHECK(Column(joined, L"Component") == Cells{L"Second"});
  CHECK(Column(joined, L"Feature_") == Cells{L"Second"});
  CHECK(Column(joined, L"FileSize") == Cells{L"10"});
}

TEST_CASE("streams of every size come into memory or, up to a limit, into files") {
  OpenPackage package;
  package.Execute(
      L"CREATE TABLE `Blob` (`Data` OBJECT NOT NULL, `Name` CHAR(72) NOT NULL PRIMARY KEY `Name`)");
  const size_t sizes[] = {0, 1, 51200, 51201};
  const auto content = [](size_t size) {
    std::string bytes(size, 'b');
    if (size > 1) bytes.front() = 'a', bytes.back() = '\0';
    return bytes;
  };
  const auto name = [](size_t size) { return L"blob " + std::to_wstring(size); };
  for (const size_t size : sizes) {
    package.AddStream(L"Blob", L"Data", name(size),
                      package.folder().Write(name(size), content(size)));
  }
  TableSnapshot blobs(package.Reopen(), L"Blob");
  CHECK(blobs.Load({L"Data", L"Name"}));
  CHECK(Column(blobs, L"Data") == Cells(4, L"{Binary Data}"));
  REQUIRE(blobs.streams().size() == 4);
  const Cells names = Column(blobs, L"Name");
  for (const size_t size : sizes) {
    CAPTURE(size);
    const auto at = std::find(names.begin(), names.end(), name(size)) - names.begin();
    REQUIRE(at < 4);
    const auto& stream = blobs.streams()[static_cast<size_t>(at)];
    CHECK(std::string(stream.begin(), stream.end()) == content(size));
  }
  const test::TempFolder out;
  const TableSnapshot::StreamExtractor extractor{out.path()};
  for (const DWORD limit : {DWORD{51200}, TableSnapshot::kNoSizeLimit}) {
    CHECK(blobs.Query({L"Data", L"Name"}));
    CHECK(blobs.Fetch(&extractor, limit));
    CHECK(blobs.streams().empty());
    CHECK(Column(blobs, L"Data") == Cells(4, L"{Binary Data}"));
    for (const size_t size : sizes) {
      CAPTURE(size);
      const std::wstring path = out / name(size);
      CHECK((::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) == (size <= limit));
      if (size <= limit) CHECK(test::ReadWholeFile(path) == content(size));
    }
  }
}

TEST_CASE("columns of other types have no cell and later columns keep their places") {
  test::TestPackage package;
  package.Execute(
      L"CREATE TABLE `Odd` (`Key` CHAR(20) NOT NULL, `Text` CHAR(20) PRIMARY KEY `Key`)");
  package.Execute(L"ALTER TABLE `Odd` ADD `Scratch` CHAR(20) TEMPORARY HOLD");
  package.Execute(L"INSERT INTO `Odd` (`Key`,`Text`,`Scratch`) VALUES ('k','t','s') TEMPORARY");
  TableSnapshot odd(msi::UniqueMsiHandle(package.database()), L"Odd");
  CHECK(odd.Load({L"Key", L"Scratch", L"Text"}));
  CHECK(Column(odd, L"Key") == Cells{L"k"});
  CHECK(Column(odd, L"Scratch") == Cells{L""});
  CHECK(Column(odd, L"Text") == Cells{L"t"});
}
