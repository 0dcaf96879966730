#include "msi/table_snapshot.h"

#include <doctest.h>

#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/test_package.h"
#include "util/text.h"

using msi::TableRow;
using msi::TableSnapshot;
using test::TempFolder;
using test::TestPackage;

namespace {

// A package whose tables a test reads without a session.
class OpenPackage : public TestPackage {
 public:
  // Commits what was written and gives the snapshot a database handle of its own.
  msi::UniqueMsiHandle Reopen() {
    Close();
    msi::UniqueMsiHandle database;
    REQUIRE(::MsiOpenDatabaseW(path().c_str(), MSIDBOPEN_READONLY, database.Receive()) ==
            ERROR_SUCCESS);
    return database;
  }
};

std::vector<std::wstring> Column(const TableSnapshot& snapshot, const wchar_t* name) {
  std::vector<std::wstring> cells;
  for (const TableRow& row : snapshot) cells.push_back(row.Get(name));
  return cells;
}
using Cells = std::vector<std::wstring>;

}  // namespace

TEST_CASE("columns, condition and order go into the query as they are given") {
  OpenPackage package;
  package.Execute(
      L"CREATE TABLE `Item` (`Key` CHAR(20) NOT NULL, `Order` SHORT, `Big` LONG, `Text` CHAR(0) "
      L"LOCALIZABLE PRIMARY KEY `Key`)");
  const std::wstring long_text(3000, L't');
  package.Execute(L"INSERT INTO `Item` (`Key`,`Order`,`Big`,`Text`) VALUES ('c',3,-2147483647,'" +
                  long_text + L"')");
  package.Execute(L"INSERT INTO `Item` (`Key`,`Order`,`Big`) VALUES ('a',0,2147483647)");
  package.Execute(L"INSERT INTO `Item` (`Key`,`Order`,`Text`) VALUES ('b',-32767,'x')");
  package.Execute(L"INSERT INTO `Item` (`Key`,`Text`) VALUES ('n','null order')");
  {
    TableSnapshot items(0, L"Item", package.Reopen());
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
    CHECK(Column(items, L"order") == Cells{L"", L"", L"", L""});  // Names are exact.
    CHECK(Column(items, L"No such column") == Cells{L"", L"", L"", L""});

    const TableRow kept = *items.begin();
    CHECK_FALSE(items.Load({L"Key"}, {}, L"`Key` = 'none'"));
    CHECK(items.size() == 0);
    CHECK(kept.Get(L"Key") == L"n");
    // Once a query failed, the snapshot does nothing more.
    CHECK_FALSE(items.Load({L"Missing column"}));
    CHECK_FALSE(items.Load({L"Key"}));
    CHECK(items.size() == 0);
  }
  CHECK(::MsiCloseAllHandles() == 0);
}

TEST_CASE("a table that is not there, and no database at all, give no rows and no message") {
  TestPackage package;
  package.Close();
  test::ScriptedUi ui;
  test::MsiSessionRig rig(package);
  ui.Clear();
  {
    TableSnapshot absent(rig.handle(), L"NoSuchTable");
    CHECK_FALSE(absent.Load({}));
    CHECK_FALSE(absent.Fetch(nullptr, TableSnapshot::kNoSizeLimit));
    CHECK(absent.size() == 0);
    TableSnapshot nothing(0, L"Property");
    CHECK_FALSE(nothing.Load({}));
    CHECK_FALSE(nothing.Query({}));
    CHECK_FALSE(
        nothing.LoadJoined({{L"Feature", L"Feature"}, {L"FeatureComponents", L"Feature_"}}));
    TableSnapshot not_asked(rig.handle(), L"Property");
    CHECK_FALSE(not_asked.Fetch(nullptr, TableSnapshot::kNoSizeLimit));
    TableSnapshot there(rig.handle(), L"Property");
    CHECK(there.Load({L"Value"}, {}, L"`Property` = 'ProductName'"));
    CHECK(Column(there, L"Value") == Cells{L"Test product"});
  }
  CHECK(ui.messages().empty());
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("several tables are joined to the first") {
  OpenPackage package;
  package.AddFeature(L"Second", 1, 10);
  {
    TableSnapshot joined(0, L"", package.Reopen());
    CHECK(joined.LoadJoined({{L"Component", L"Component"},
                             {L"FeatureComponents", L"Component_"},
                             {L"File", L"Component_"}}));
    CHECK(joined.query_text() ==
          L"SELECT * FROM `Component`, `FeatureComponents`, `File` WHERE `Component`.`Component` = "
          L"`FeatureComponents`.`Component_` AND `Component`.`Component` = `File`.`Component_`");
    REQUIRE(joined.size() == 1);
    CHECK(joined.begin()->Get(L"Component") == L"Second");
    CHECK(joined.begin()->Get(L"FeatureComponents") == L"");
    CHECK(joined.begin()->Get(L"Feature_") == L"Second");
    CHECK(joined.begin()->Get(L"FileSize") == L"10");
  }
  CHECK(::MsiCloseAllHandles() == 0);
}

TEST_CASE("streams of every size come into memory or, up to a limit, into files") {
  OpenPackage package;
  package.Execute(
      L"CREATE TABLE `Blob` (`Data` OBJECT NOT NULL, `Name` CHAR(72) NOT NULL PRIMARY KEY `Name`)");
  const size_t sizes[] = {0, 1, 51200, 51201};
  std::vector<std::string> contents;
  for (const size_t size : sizes) {
    std::string& content = contents.emplace_back(size, 'b');
    if (size > 1) content.front() = 'a', content.back() = '\0';
    const std::wstring name = L"blob " + std::to_wstring(size);
    package.AddStream(L"Blob", L"Data", name, package.folder().Write(name, content));
  }
  const TempFolder out;
  {
    TableSnapshot blobs(0, L"Blob", package.Reopen());
    CHECK(blobs.Load({L"Data", L"Name"}));
    CHECK(Column(blobs, L"Data") == Cells(blobs.size(), L"{Binary Data}"));
    REQUIRE(blobs.size() == 4);
    REQUIRE(blobs.streams().size() == 4);
    for (size_t i = 0; i < 4; ++i) {
      CAPTURE(i);
      const TableRow& row = blobs.begin()[static_cast<ptrdiff_t>(i)];
      const auto& stream = blobs.streams()[i];
      const std::string read(stream.begin(), stream.end());
      const auto wanted = std::find_if(std::begin(sizes), std::end(sizes), [&](size_t size) {
        return row.Get(L"Name") == L"blob " + std::to_wstring(size);
      });
      REQUIRE(wanted != std::end(sizes));
      CHECK(read == contents[static_cast<size_t>(wanted - sizes)]);
    }

    const TableSnapshot::StreamExtractor extractor{out.path()};
    CHECK(blobs.Query({L"Data", L"Name"}));
    CHECK(blobs.Fetch(&extractor, 51200));
    CHECK(blobs.streams().empty());
    CHECK(blobs.size() == 4);
    CHECK(Column(blobs, L"Data") == Cells(4, L"{Binary Data}"));
    for (size_t i = 0; i < 3; ++i) {
      CAPTURE(sizes[i]);
      const std::wstring path = out / (L"blob " + std::to_wstring(sizes[i]));
      CHECK(::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES);
      CHECK(test::ReadWholeFile(path) == contents[i]);
    }
    CHECK(::GetFileAttributesW((out / L"blob 51201").c_str()) == INVALID_FILE_ATTRIBUTES);
    CHECK(blobs.Query({L"Data", L"Name"}));
    CHECK(blobs.Fetch(&extractor, TableSnapshot::kNoSizeLimit));
    CHECK(test::ReadWholeFile(out / L"blob 51201") == contents[3]);
  }
  CHECK(::MsiCloseAllHandles() == 0);
}

TEST_CASE("columns of other types have no cell and later columns keep their places") {
  OpenPackage package;
  package.Execute(
      L"CREATE TABLE `Odd` (`Key` CHAR(20) NOT NULL, `Text` CHAR(20) PRIMARY KEY `Key`)");
  package.Execute(L"ALTER TABLE `Odd` ADD `Scratch` CHAR(20) TEMPORARY HOLD");
  package.Execute(L"INSERT INTO `Odd` (`Key`,`Text`,`Scratch`) VALUES ('k','t','s') TEMPORARY");
  {
    TableSnapshot odd(0, L"Odd", msi::UniqueMsiHandle(package.database()));
    CHECK(odd.Load({L"Key", L"Scratch", L"Text"}));
    CHECK(Column(odd, L"Key") == Cells{L"k"});
    CHECK(Column(odd, L"Scratch") == Cells{L""});
    CHECK(Column(odd, L"Text") == Cells{L"t"});
  }
}
