// Prerequisite tables with anything in their cells, run through every action: each ends with one of
// its results, the good row among the others is handled all the same, nothing of anybody else's is
// touched and no handle stays open.

#include <doctest.h>

#include <string>
#include <vector>

#include "reliability/foreign_files.h"
#include "reliability/part.h"
#include "reliability/random_table.h"
#include "support/http_server.h"
#include "support/msi_session_rig.h"
#include "support/redirected_temp.h"
#include "support/scripted_ui.h"
#include "support/setup_program.h"
#include "support/test_package.h"
#include "util/md5.h"
#include "util/text.h"

using test::ForeignFiles;
using test::HttpServer;
using test::MsiSessionRig;
using test::Part;
using test::Random;
using test::RandomColumn;
using test::RandomRow;
using test::ScriptedUi;
using test::SetupProgram;
using test::TempFolder;
using test::TestPackage;
using Texts = std::vector<std::wstring>;

namespace {

constexpr wchar_t kTable[] = L"QX_PreRequisite";
constexpr wchar_t kGoodArguments[] = L"the good row";

// Columns of the kit, key first, with the type of none narrower than what is put in.
const std::vector<RandomColumn> kColumns = {
    {L"Prereq", L"CHAR(72) NOT NULL"},
    {L"DisplayName", L"CHAR(0)"},
    {L"SetupFileUrl", L"CHAR(0)"},
    {L"Location", L"LONG"},
    {L"TargetName", L"CHAR(0)"},
    {L"ExactSize", L"CHAR(0)"},
    {L"MD5", L"CHAR(0)"},
    {L"ComLine", L"CHAR(0)"},
    {L"Options", L"CHAR(0)"},
    {L"Sequence", L"LONG"},
    {L"Languages", L"CHAR(0)"},
    {L"MissingCondition", L"CHAR(0)"},
    {L"Feature_", L"CHAR(0)"},
};

// No author writes a path out of the folder by chance.
std::wstring WithoutStepsUp(std::wstring text) {
  for (size_t at; (at = text.find(L"..")) != text.npos;) text.erase(at, 1);
  return text;
}

std::wstring RandomCondition(Random* random) {
  switch (random->Below(6)) {
    case 0:
      return random->Pick(Texts{L"1=2", L"NOT 1", L"QX_NEVER", L"0"});
    case 1:
      return random->Pick(Texts{L"(", L"1=", L"NOT", L"\"", L"1 1", L"?", L"&", L"$Main >< 3 )"});
    case 2:
      return random->Text();
    default:
      return random->Pick(Texts{L"1", L"1=1", L"VersionNT OR 1", L"&Main=3 OR 1", L""});
  }
}

// An address of the test's own server, or none that leads anywhere.
std::wstring RandomUrl(Random* random, const HttpServer& server) {
  const std::wstring own = util::ToWide(server.Url("/"));
  switch (random->Below(8)) {
    case 0:
      return random->Pick(Texts{L"", L"http", L"http:", L"http://", L"mailto:me@example.com",
                                L"gopher://127.0.0.1/x", L"x:\\y\\z.exe", L"file:///c:/x.exe"});
    case 1:
      return WithoutStepsUp(L"nothing:" + random->Text());
    case 2:
      return own + WithoutStepsUp(random->Text());
    default:
      return own + random->Pick(Texts{L"a.exe", L"b.exe", L"gone", L"get?id=7", L"error.exe",
                                      L"a-name-that-is-longer-than-thirty.exe", L"%41.exe",
                                      L"short.exe"});
  }
}

RandomRow MakeRandomRow(Random* random, const HttpServer& server) {
  RandomRow row;
  // From a row with a slip of the pen to one that is nothing but noise.
  const unsigned wildness = random->Pick({10u, 40u, 90u});
  const auto set = [&](const wchar_t* column, std::wstring tame, std::wstring wild) {
    if (random->Chance(5)) return;  // Null.
    row[column] = random->Chance(wildness) ? std::move(wild) : std::move(tame);
  };
  row[L"Prereq"] = random->Text() + L"k";
  set(L"DisplayName", L"A prerequisite", random->Text());
  set(L"SetupFileUrl", util::ToWide(server.Url("/a.exe")), RandomUrl(random, server));
  set(L"Location", random->Pick(Texts{L"0", L"1"}), random->Number());
  set(L"TargetName", random->Pick(Texts{L"a.exe", L"b.exe"}),
      random->Chance(60) ? random->Pick(Texts{L"x?c.exe", L"?", L"sub\\d.exe", L".", L"no.exe",
                                              L" a.exe", L"a.exe ", L"A.EXE"})
                         : WithoutStepsUp(random->Text()));
  set(L"ExactSize", L"", random->Number());
  set(L"MD5", L"", random->Text());
  set(L"ComLine", L"/quiet", random->Text());
  set(L"Options", random->Pick(Texts{L"", L"p"}), random->Text());
  set(L"Sequence", random->Pick(Texts{L"1", L"7", L"200"}), random->Number());
  set(L"Languages", L"", random->Text() + L";" + random->Number());
  set(L"MissingCondition", L"1=1", RandomCondition(random));
  set(L"Feature_", L"Main", random->Text());
  return row;
}

void CheckTable(Part* part, Random* random) {
  const test::RedirectedTemp temp;
  const TempFolder folder;
  const std::string content = random->Bytes(random->Between(1, 120000));
  HttpServer server([&](const test::HttpRequest& request, size_t) -> test::HttpReply {
    const auto body = test::Text(content);
    if (request.target == "/gone") return {.status = 404};
    if (request.target == "/error.exe") return {.status = 500, .body = test::Text("page")};
    test::HttpReply reply = ServeRange(request, body);
    // Once for each: the transfer goes on after it.
    if (!request.Range() && content.size() > 1) reply.end_after = content.size() / 2;
    return reply;
  });
  const ForeignFiles foreign(folder, random,
                             {L"user.txt", L"down\\user.txt", L"down\\user.exe",
                              L"source\\user.txt", L"source\\sub\\user.txt", L"down2\\user.txt"});
  const SetupProgram a(folder, L"source\\a.exe");
  const SetupProgram b(folder, L"source\\b.exe");
  const SetupProgram good(folder, L"source\\good.exe");
  const SetupProgram post(folder, L"source\\post.exe");

  TestPackage package;
  package.Execute(L"DROP TABLE `QX_PreRequisite`");
  std::vector<RandomColumn> columns = kColumns;
  const bool is_whole = random->Chance(90);
  if (!is_whole) columns.erase(columns.begin() + static_cast<ptrdiff_t>(random->Between(1, 12)));
  MakeTable(&package, kTable, columns, 1);
  bool has_mandatory = false;
  for (size_t i = random->Below(9); i != 0; --i) {
    const RandomRow row = MakeRandomRow(random, server);
    if (!InsertRow(package, kTable, columns, row)) continue;
    part->Count("rows");
    const auto options = row.find(L"Options");
    has_mandatory =
        has_mandatory || (options != row.end() && options->second.find(L'm') != std::wstring::npos);
  }
  const auto add_good = [&](RandomRow row) {
    row[L"Sequence"] = util::ToDecimal(random->Between(0, 100));
    row[L"Feature_"] = L"Main";
    REQUIRE(InsertRow(package, kTable, columns, row));
  };
  add_good({{L"Prereq", L"Good"},
            {L"Location", L"0"},
            {L"TargetName", L"good.exe"},
            {L"ComLine", kGoodArguments}});
  add_good({{L"Prereq", L"Post"},
            {L"Location", L"0"},
            {L"TargetName", L"post.exe"},
            {L"Options", L"p"},
            {L"ComLine", kGoodArguments}});
  util::Md5 digest;
  digest.Update(content.data(), content.size());
  add_good({{L"Prereq", L"Fetched"},
            {L"Location", L"1"},
            {L"SetupFileUrl", util::ToWide(server.Url("/fetched.dat"))},
            {L"ExactSize", util::ToDecimal(content.size())},
            {L"MD5", util::ToWide(digest.Finish())}});

  ScriptedUi ui;
  MsiSessionRig rig(package);
  rig.SetProperty(L"QX_DOWNLOAD_DIR", folder / L"down");
  rig.SetProperty(L"QX_SETUPEXEPATH", folder / L"source\\bootstrap.exe");
  const auto of_the_installer = temp.Files();
  const bool says_yes = random->Chance(80);
  ui.OnMessage([&](const test::UiMessage& message) {
    if ((message.type & 0xFF000000) == static_cast<UINT>(INSTALLMESSAGE_WARNING)) {
      ui.Answer(INSTALLMESSAGE_WARNING, says_yes ? IDYES : IDNO);
    }
  });
  const auto call = [&](const char* action, UINT stop) {
    const UINT result = rig.Call(action);
    part->FaultIf(result != 0 && result != stop,
                  std::string(action) + " ended with " + std::to_string(result));
    part->FaultIf(result != 0 && says_yes, std::string(action) + " stopped without a No");
    part->Count("calls");
  };
  call("DoAppSearchEx", 0);
  call("DownloadPrereq", 2);
  const std::string fetched = test::ReadWholeFile(folder / L"down\\fetched.dat");
  part->FaultIf(!fetched.empty() && fetched != content, "the downloaded file has other bytes");
  part->FaultIf(fetched.empty() && is_whole && says_yes && !has_mandatory,
                "the good download is missing");
  call("ExtractPrereq", 1);
  call("InstallPrereq", 2);
  call("InstallPostPrereq", 2);
  call("VerifyPrereq", 2);
  for (const SetupProgram* program : {&good, &post}) {
    const Texts runs = program->Arguments();
    part->FaultIf(is_whole ? runs.size() > 1 || (runs.empty() && says_yes) : !runs.empty(),
                  "a good setup ran " + std::to_string(runs.size()) + " times");
    part->FaultIf(runs.size() == 1 && runs[0] != kGoodArguments, "a setup got another's arguments");
    part->Count("setups run", runs.size());
  }
  part->Count("setups run", a.Runs().size() + b.Runs().size());
  call("CleanPrereq", 0);

  part->FaultIf(!test::ReadWholeFile(folder / L"down\\fetched.dat").empty(),
                "the clean-up left the downloaded file");
  for (const std::wstring& path : foreign.FindHarmed()) {
    part->Fault("harmed " + util::ToAnsi(path));
  }
  part->Count("foreign files kept", foreign.size());
  part->FaultIf(temp.Files() != of_the_installer, "something is left in the temporary folder");
  const UINT leaked = rig.CountLeakedHandles() - 1;  // The package's database is open.
  part->FaultIf(leaked != 0, std::to_string(leaked) + " installer handles left open");
}

}  // namespace

TEST_CASE("prerequisite tables") {
  Part part("prerequisite tables", 60);
  part.ForEachRun([&](Random* random) { CheckTable(&part, random); });
}
