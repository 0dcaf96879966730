// Tables with anything in their cells, run through every action: each ends with one of its results,
// the good rows among the others are handled all the same, nothing of anybody else's is touched,
// nothing is left behind and no handle stays open.

#include <windows.h>
#include <msiquery.h>

#include <doctest.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "msi/handles.h"
#include "reliability/foreign_files.h"
#include "reliability/part.h"
#include "support/data_rows.h"
#include "support/fault_server.h"
#include "support/msi_session_rig.h"
#include "support/redirected_temp.h"
#include "support/scripted_ui.h"
#include "support/setup_program.h"
#include "support/test_key.h"
#include "support/test_package.h"
#include "support/versioned_file.h"
#include "util/md5.h"
#include "util/text.h"

using test::Part;
using test::Random;
using test::SetupProgram;

namespace {

constexpr size_t kProperties = 8;  // That random searches set.
constexpr wchar_t kGoodArguments[] = L"the good row";

// The cells of one row by their columns; a column that is not named is null.
using RandomRow = std::map<std::wstring, std::wstring>;

// A table of tables.txt, made in a package in the place of one that is there.
class RandomTable {
 public:
  RandomTable(test::TestPackage* package, Random* random, const std::wstring& table, size_t keys)
      : package_(package), random_(random), table_(table), is_whole_(random->Chance(90)) {
    for (const test::DataRow& row : test::ReadDataRows("reliability/tables.txt")) {
      if (row[0] == table) columns_.push_back({row[1], row[2], row[3], row[4]});
    }
    if (!is_whole_) {
      const size_t left_out = random->Between(keys, columns_.size() - 1);
      columns_.erase(columns_.begin() + static_cast<ptrdiff_t>(left_out));
    }
    std::wstring definitions;
    std::wstring key;
    for (const Column& column : columns_) {
      if (&column < &columns_[keys]) key += (key.empty() ? L"`" : L", `") + column.name + L"`";
      definitions += (definitions.empty() ? L"`" : L", `") + column.name + L"` " + column.type;
    }
    package->Execute(L"CREATE TABLE `" + table + L"` (" + definitions + L" PRIMARY KEY " + key +
                     L")");
  }

  // False for one table in ten, which lacks a column.
  [[nodiscard]] bool is_whole() const { return is_whole_; }

  // A row from one with a slip of the pen to one that is nothing but noise.
  [[nodiscard]] RandomRow MakeRow() {
    RandomRow row;
    const unsigned wildness = random_->Pick({10u, 40u, 90u});
    for (const Column& column : columns_) {
      if (!column.type.ends_with(L"NOT NULL") && random_->Chance(5)) continue;
      const bool is_wild = random_->Chance(wildness);
      row[column.name] = random_->Word(random_->Fill(is_wild ? column.unusual : column.usual));
      random_->Define(column.name, row[column.name]);
    }
    return row;
  }

  // Puts a row in, whatever its cells hold. Cells of a numeric column are decimal texts; one that
  // does not fit the column is left null. False when the installer does not take the row, as for a
  // key that is there already.
  [[nodiscard]] bool Insert(const RandomRow& row) const {
    const msi::UniqueMsiHandle record(::MsiCreateRecord(static_cast<UINT>(columns_.size())));
    std::wstring names;
    std::wstring marks;
    UINT field = 0;
    for (const Column& column : columns_) {
      names += (field == 0 ? L"`" : L",`") + column.name + L"`";
      marks += field++ == 0 ? L"?" : L",?";
      const auto cell = row.find(column.name);
      if (cell == row.end() || cell->second.empty()) continue;
      if (column.type.starts_with(L"LONG")) {
        ::MsiRecordSetInteger(record.Get(), field, util::ParseDecimal<int32_t>(cell->second));
      } else {
        ::MsiRecordSetStringW(record.Get(), field, cell->second.c_str());
      }
    }
    msi::UniqueMsiView view;
    const std::wstring sql =
        L"INSERT INTO `" + table_ + L"` (" + names + L") VALUES (" + marks + L")";
    return ::MsiDatabaseOpenViewW(package_->database(), sql.c_str(), view.Receive()) == 0 &&
           ::MsiViewExecute(view.Get(), record.Get()) == 0;
  }

 private:
  struct Column {
    std::wstring name;
    std::wstring type;
    std::wstring usual;  // Lists of words.
    std::wstring unusual;
  };

  test::TestPackage* package_;
  Random* random_;
  std::wstring table_;
  std::vector<Column> columns_;
  bool is_whole_;
};

// One run: a package with a random table, and what its actions may not touch.
class TableRun {
 public:
  TableRun(Part* part, Random* random, const std::wstring& table, size_t keys)
      : part_(part), random_(random) {
    package_.Execute(L"DROP TABLE `QX_PreRequisite`");
    table_.emplace(&package_, random, table, keys);
  }

  [[nodiscard]] const test::TempFolder& folder() const { return folder_; }
  [[nodiscard]] const test::MsiSessionRig& rig() const { return *rig_; }
  [[nodiscard]] bool is_whole() const { return table_->is_whole(); }

  // Puts up to `most` random rows in. True when one of the options is "m".
  bool InsertRandomRows(size_t most) {
    bool has_mandatory = false;
    for (size_t i = random_->Below(most + 1); i != 0; --i) {
      RandomRow row = table_->MakeRow();
      if (!table_->Insert(row)) continue;
      part_->Count("rows");
      has_mandatory = has_mandatory || row[L"Options"].find(L'm') != std::wstring::npos;
    }
    return has_mandatory;
  }
  void InsertGood(RandomRow row, const wchar_t* order_column) {
    row[order_column] = util::ToDecimal(random_->Between(0, 100));
    REQUIRE(table_->Insert(row));
  }

  void BeginSession() {
    rig_.emplace(package_);
    says_yes_ = random_->Chance(80);
    ui_.OnMessage([this](const test::UiMessage& message) {
      if ((message.type & 0xFF000000) == static_cast<UINT>(INSTALLMESSAGE_WARNING)) {
        ui_.Answer(INSTALLMESSAGE_WARNING, says_yes_ ? IDYES : IDNO);
      }
    });
    of_the_installer_ = temp_.Files();
  }
  [[nodiscard]] bool says_yes() const { return says_yes_; }
  void Call(const char* action, UINT stop) {
    const UINT result = rig_->Call(action);
    part_->FaultIf(result != 0 && result != stop,
                   std::string(action) + " ended with " + std::to_string(result));
    part_->FaultIf(result != 0 && says_yes_, std::string(action) + " stopped without a No");
    part_->Count("calls");
  }
  void CheckEnd() {
    for (const std::wstring& path : foreign_.FindHarmed()) {
      part_->Fault("harmed " + util::ToAnsi(path));
    }
    part_->Count("foreign files kept", foreign_.size());
    part_->FaultIf(temp_.Files() != of_the_installer_, "something is left in the temporary folder");
    const UINT leaked = rig_->CountLeakedHandles() - 1;  // The package's database is open.
    part_->FaultIf(leaked != 0, std::to_string(leaked) + " installer handles left open");
  }

 private:
  Part* part_;
  Random* random_;
  test::RedirectedTemp temp_;
  test::TempFolder folder_;
  test::ForeignFiles foreign_{
      folder_,
      random_,
      {L"user.txt", L"down\\user.txt", L"down\\user.exe", L"source\\user.txt",
       L"source\\sub\\user.txt", L"down2\\user.txt", L"a.exe", L"sub\\b.exe", L"sub\\deep\\c.exe"}};
  test::TestPackage package_;
  std::optional<RandomTable> table_;
  test::ScriptedUi ui_;
  std::optional<test::MsiSessionRig> rig_;
  std::set<std::wstring> of_the_installer_;
  bool says_yes_ = true;
};

void CheckPrerequisites(Part* part, Random* random) {
  TableRun run(part, random, L"QX_PreRequisite", 1);
  const test::TempFolder& folder = run.folder();
  const test::FaultServer server;
  // Cut once for each file, so that the transfer goes on after it.
  const size_t size = random->Between(2, 120000);
  const std::string steps =
      "size=" + std::to_string(size) + "&cut=" + std::to_string(size / 2) + "&then=ok";
  random->Define(L"server", util::ToWide(server.Url(steps, "")));
  random->Define(L"gone", util::ToWide(server.Url("status=404", "")));
  random->Define(L"error", util::ToWide(server.Url("status=500", "")));
  const SetupProgram a(folder, L"source\\a.exe");
  const SetupProgram b(folder, L"source\\b.exe");
  const SetupProgram good(folder, L"source\\good.exe");
  const SetupProgram post(folder, L"source\\post.exe");

  const bool has_mandatory = run.InsertRandomRows(8);
  const std::string content = test::ServedContent(size);
  util::Md5 digest;
  digest.Update(content.data(), content.size());
  for (RandomRow row :
       {RandomRow{{L"Prereq", L"Good"}, {L"TargetName", L"good.exe"}},
        RandomRow{{L"Prereq", L"Post"}, {L"TargetName", L"post.exe"}, {L"Options", L"p"}},
        RandomRow{{L"Prereq", L"Fetched"},
                  {L"Location", L"1"},
                  {L"SetupFileUrl", random->Fill(L"{server}fetched.dat")},
                  {L"ExactSize", util::ToDecimal(size)},
                  {L"MD5", util::ToWide(digest.Finish())}}}) {
    row.insert({{L"Location", L"0"}, {L"ComLine", kGoodArguments}, {L"Feature_", L"Main"}});
    run.InsertGood(row, L"Sequence");
  }

  run.BeginSession();
  run.rig().SetProperty(L"QX_DOWNLOAD_DIR", folder / L"down");
  run.rig().SetProperty(L"QX_SETUPEXEPATH", folder / L"source\\bootstrap.exe");
  run.Call("DoAppSearchEx", 0);
  run.Call("DownloadPrereq", 2);
  const std::string fetched = test::ReadWholeFile(folder / L"down\\fetched.dat");
  part->FaultIf(!fetched.empty() && fetched != content, "the downloaded file has other bytes");
  part->FaultIf(fetched.empty() && run.is_whole() && run.says_yes() && !has_mandatory,
                "the good download is missing");
  run.Call("ExtractPrereq", 1);
  run.Call("InstallPrereq", 2);
  run.Call("InstallPostPrereq", 2);
  run.Call("VerifyPrereq", 2);
  for (const SetupProgram* program : {&good, &post}) {
    const auto runs = program->Arguments();
    part->FaultIf(runs.size() > 1 || (runs.empty() && run.is_whole() && run.says_yes()),
                  "a good setup ran " + std::to_string(runs.size()) + " times");
    part->FaultIf(runs.size() == 1 && runs[0] != kGoodArguments, "a setup got another's arguments");
    part->Count("setups run", runs.size());
  }
  part->Count("setups run", a.Runs().size() + b.Runs().size());
  run.Call("CleanPrereq", 0);
  part->FaultIf(!test::ReadWholeFile(folder / L"down\\fetched.dat").empty(),
                "the clean-up left the downloaded file");
  run.CheckEnd();
}

void CheckSearches(Part* part, Random* random, const std::string& program) {
  TableRun run(part, random, L"QX_AppSearchEx", 2);
  run.folder().Write(L"good\\good.exe", program);
  const test::TestKey key;
  key.SetText("Text", util::ToAnsi(random->Number()));
  key.SetNumber("Number", static_cast<DWORD>(random->Next()));
  (void)key.Make("\\1.5");
  random->Define(L"folder", run.folder().path());
  random->Define(L"key", key.wide_path());

  run.InsertRandomRows(15);
  const std::wstring goods[][5] = {
      {L"GOODFILE", L"0", L"{folder}\\g*.exe?2", L"1.0", L"3.2.1.0"},
      {L"GOODKEYS", L"1", L"{key}", L"1.0", L"1.5"},
      {L"GOODPLACE", L"5", L"{key}\\1.5", L"", L"1"},
  };
  for (const auto& [property, kind, search, least, value] : goods) {
    run.InsertGood({{L"Property", property},
                    {L"Type", kind},
                    {L"SearchString", random->Fill(search)},
                    {L"VerMin", least}},
                   L"Order");
  }
  run.BeginSession();
  for (size_t i = 0; i < kProperties; ++i) {
    run.rig().SetProperty(L"P" + util::ToDecimal(i), L"before");
  }
  run.Call("DoAppSearchEx", 0);
  for (const auto& [property, kind, search, least, value] : goods) {
    const std::wstring found = run.rig().Property(property);
    part->FaultIf(run.is_whole() && found != value,
                  util::ToAnsi(property + L" is \"" + found + L"\""));
  }
  for (size_t i = 0; i < kProperties; ++i) {
    const std::wstring value = run.rig().Property(L"P" + util::ToDecimal(i));
    part->FaultIf(value.empty(), "a search emptied a property");
    if (value != L"before") part->Count("found");
  }
  run.CheckEnd();
}

}  // namespace

TEST_CASE("prerequisite tables") {
  Part part("prerequisite tables", 60);
  part.ForEachRun([&](Random* random) { CheckPrerequisites(&part, random); });
}

TEST_CASE("search tables") {
  Part part("search tables", 60);
  const std::string program = test::VersionedContent(3, 2, 1, 0);
  part.ForEachRun([&](Random* random) { CheckSearches(&part, random, program); });
}
