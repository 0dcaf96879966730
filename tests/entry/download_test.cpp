#include <doctest.h>

#include <set>

#include "support/http_server.h"
#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/test_package.h"
#include "util/error_text.h"
#include "util/md5.h"
#include "util/text.h"

using namespace test;
using Prompts = std::vector<ScriptedUi::Prompt>;
using Names = std::vector<std::wstring>;

namespace {

constexpr char kAction[] = "DownloadPrereq";

// A package whose rows are downloaded from a server into a folder that does not exist yet.
struct Bench {
  explicit Bench(HttpServer::Script script) : server(std::move(script)) {
    package.AddProperty(L"QX_DOWNLOAD_DIR", folder());
  }

  std::wstring folder() const { return package.folder() / L"in\\download"; }
  std::wstring Path(const std::wstring& name) const { return folder() + L"\\" + name; }
  std::string Content(const std::wstring& name) const { return ReadWholeFile(Path(name)); }
  bool Exists(const std::wstring& name) const {
    return ::GetFileAttributesW(Path(name).c_str()) != INVALID_FILE_ATTRIBUTES;
  }
  std::wstring Url(const std::string& target) const { return util::ToWide(server.Url(target)); }
  Names Targets() const {
    Names targets;
    for (const HttpRequest& request : server.requests()) {
      targets.push_back(util::ToWide(request.target));
    }
    return targets;
  }

  HttpServer server;
  TestPackage package;
};

std::wstring Digest(const std::string& content) {
  util::Md5 md5;
  md5.Update(content.data(), content.size());
  return util::ToWide(md5.Finish());
}

}  // namespace

TEST_CASE("every selected row of both passes is downloaded, in order, and noted for the clean-up") {
  const auto content = TestContent(200000);
  Bench bench([&](const HttpRequest& request, size_t) {
    HttpReply reply = ServeRange(request, content);
    if (request.target == "/unknown.exe") reply.has_length = false;
    return reply;
  });
  bench.package.AddPrerequisite(
      {.name = L"second", .sequence = 2, .location = L"1", .url = bench.Url("/unknown.exe")});
  bench.package.AddPrerequisite({.name = L"first",
                                 .sequence = 1,
                                 .location = L"1",
                                 .url = bench.Url("/a/first.exe"),
                                 .size = L"200000",
                                 .md5 = Digest(*content)});
  bench.package.AddPrerequisite({.name = L"post",
                                 .sequence = 3,
                                 .location = L"1",
                                 .url = bench.Url("/get?id"),
                                 .target = L"x?post.exe",
                                 .options = L"p"});
  bench.package.AddPrerequisite({.name = L"elsewhere",
                                 .sequence = 4,
                                 .location = L"2",
                                 .url = bench.Url("/no1.exe"),
                                 .md5 = L"wrong"});
  bench.package.AddPrerequisite(
      {.name = L"packed", .sequence = 4, .location = L"0", .url = bench.Url("/no2.exe")});
  bench.package.AddPrerequisite({.name = L"present",
                                 .sequence = 5,
                                 .missing = L"1=0",
                                 .location = L"1",
                                 .url = bench.Url("/no3.exe")});
  bench.package.AddPrerequisite({.name = L"foreign",
                                 .sequence = 6,
                                 .location = L"1",
                                 .url = bench.Url("/no4.exe"),
                                 .languages = L"1"});
  bench.package.Close();
  ScriptedUi ui;
  std::set<DWORD> threads;
  ui.OnMessage([&](const UiMessage&) { threads.insert(::GetCurrentThreadId()); });
  MsiSessionRig rig(bench.package);
  ui.Clear();
  CHECK(rig.Call(kAction) == 0);
  CHECK(bench.Targets() == Names{L"/a/first.exe", L"/unknown.exe", L"/get?id"});
  for (const wchar_t* name : {L"first.exe", L"unknown.exe", L"post.exe"}) {
    CHECK(bench.Content(name) == *content);
  }
  CHECK(ui.ActionData() == Names{L"first done", L"second done", L"post done"});
  CHECK(ui.ProgressTicks() == 4096 / 3 * 3);
  CHECK(ui.Prompts().empty());
  const UiMessage start = ui.Of(INSTALLMESSAGE_ACTIONSTART).at(0);
  CHECK(start.Field(1) == L"QX_DownloadPrereq");
  CHECK(start.Field(2) == L"Downloading prerequisites");
  CHECK(rig.Property(L"QX_PREREQFILES") == bench.Path(L"first.exe") + L"\x01" +
                                               bench.Path(L"unknown.exe") + L"\x01" +
                                               bench.Path(L"post.exe"));
  CHECK(rig.Property(L"QX_PREREQDIRS") == bench.package.folder().path());
  // The installer is only talked to on the thread that it called.
  CHECK(threads == std::set<DWORD>{::GetCurrentThreadId()});
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("progress moves while the file comes") {
  const auto content = TestContent(400000);
  Bench bench([&](const HttpRequest& request, size_t) { return ServeRange(request, content); });
  bench.package.AddPrerequisite({.name = L"one", .location = L"1", .url = bench.Url("/one.exe")});
  bench.package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(bench.package);
  ui.Clear();
  CHECK(rig.Call(kAction) == 0);
  int ticks = 0;
  int moves = 0;
  for (const UiMessage& message : ui.Of(INSTALLMESSAGE_PROGRESS)) {
    if (message.Field(1) != L"2") continue;
    ++moves;
    ticks += std::stoi(message.Field(2));
    CHECK(ticks <= 4096);
  }
  CHECK(ticks == 4096);
  CHECK(moves >= 400000 / 51200);
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("a file that is there already is not downloaded again, but checked") {
  Bench bench([](const HttpRequest&, size_t) { return HttpReply{.body = Text("new")}; });
  bench.package.folder().Write(L"in\\download\\have.exe", "old");
  bench.package.AddPrerequisite(
      {.name = L"have", .location = L"1", .url = bench.Url("/have.exe"), .size = L"3"});
  bench.package.AddPrerequisite({.name = L"wrong",
                                 .sequence = 2,
                                 .location = L"1",
                                 .url = bench.Url("/have.exe"),
                                 .size = L"4"});
  bench.package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(bench.package);
  ui.Clear();
  CHECK(rig.Call(kAction) == 2);  // Nobody answers, so the prompt is a No.
  CHECK(bench.Targets().empty());
  CHECK(ui.Prompts() == Prompts{{4156, L"have.exe"}});
  CHECK(ui.ActionData() == Names{L"have done", L"wrong done"});
  CHECK(ui.ProgressTicks() == 4096);
  CHECK(rig.Property(L"QX_PREREQFILES").empty());
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("size and digest decide, and what does not match is asked about") {
  const std::string content = "the setup";
  const std::wstring digest = Digest(content);
  std::wstring capitals = digest;
  for (wchar_t& letter : capitals) {
    if (letter >= L'a') letter = static_cast<wchar_t>(letter - 32);
  }
  struct {
    std::wstring size;
    std::wstring md5;
    int answer;
    UINT result;
    bool asked;
  } const cases[] = {
      {L"9", digest, IDNO, 0, false},
      {L"0", capitals, IDNO, 0, false},
      {L"", digest + L"more", IDNO, 0, false},
      {L"", L"", IDNO, 0, false},
      {L"10", digest, IDNO, 2, true},
      {L"4294967305", L"", IDNO, 2, true},
      {L"9", digest.substr(0, 31), IDNO, 2, true},
      {L"9", std::wstring(32, L'0'), IDYES, 0, true},
  };
  for (const auto& row : cases) {
    CAPTURE(util::ToAnsi(row.size + L" " + row.md5));
    Bench bench([&](const HttpRequest&, size_t) { return HttpReply{.body = Text(content)}; });
    bench.package.AddPrerequisite({.name = L"checked",
                                   .location = L"1",
                                   .url = bench.Url("/checked.exe"),
                                   .size = row.size,
                                   .md5 = row.md5,
                                   .options = L"m"});
    bench.package.AddPrerequisite(
        {.name = L"next", .sequence = 2, .location = L"1", .url = bench.Url("/next.exe")});
    bench.package.Close();
    ScriptedUi ui;
    ui.Answer(INSTALLMESSAGE_WARNING, row.answer);
    MsiSessionRig rig(bench.package);
    ui.Clear();
    CHECK(rig.Call(kAction) == row.result);
    CHECK(ui.Prompts() == (row.asked ? Prompts{{4156, L"checked.exe"}} : Prompts{}));
    CHECK(bench.Exists(L"next.exe") == (row.result == 0));
    CHECK(rig.CountLeakedHandles() == 0);
  }
}

TEST_CASE("a failed download is shown once; a mandatory one ends the phase quietly") {
  const std::wstring not_found = util::ErrorText(12002);
  struct {
    std::wstring options;
    std::wstring size;
    bool asked;
    bool goes_on;
  } const cases[] = {
      {L"m", L"5", false, false},
      {L"", L"5", true, true},
      {L"", L"", false, true},
  };
  for (const auto& row : cases) {
    Bench bench([&](const HttpRequest& request, size_t) {
      return HttpReply{.status = request.target == "/gone.exe" ? 404 : 200, .body = Text("x")};
    });
    bench.package.AddPrerequisite({.name = L"gone",
                                   .location = L"1",
                                   .url = bench.Url("/gone.exe"),
                                   .size = row.size,
                                   .options = row.options});
    bench.package.AddPrerequisite(
        {.name = L"next", .sequence = 2, .location = L"1", .url = bench.Url("/next.exe")});
    bench.package.Close();
    ScriptedUi ui;
    ui.Answer(INSTALLMESSAGE_WARNING, IDYES);
    MsiSessionRig rig(bench.package);
    ui.Clear();
    CHECK(rig.Call(kAction) == 0);
    const auto errors = ui.Of(INSTALLMESSAGE_ERROR);
    REQUIRE(errors.size() == 1);
    CHECK(errors[0].Field(0).find(not_found) != std::wstring::npos);
    CHECK(ui.Prompts().size() == (row.asked ? 1u : 0u));
    CHECK(bench.Exists(L"next.exe") == row.goes_on);
    CHECK(ui.ActionData() == (row.goes_on ? Names{L"next done"} : Names{}));
    CHECK(rig.CountLeakedHandles() == 0);
  }
}

TEST_CASE("a download without a folder fails, and neither fetches nor notes anything") {
  Bench bench([](const HttpRequest&, size_t) { return HttpReply{.body = Text("x")}; });
  bench.package.AddPrerequisite(
      {.name = L"lost", .location = L"1", .url = bench.Url("/lost.exe"), .size = L"1"});
  bench.package.Close();
  ScriptedUi ui;
  ui.Answer(INSTALLMESSAGE_WARNING, IDYES);
  MsiSessionRig rig(bench.package);
  rig.SetProperty(L"QX_DOWNLOAD_DIR", L"[QX_NotSet]");
  ui.Clear();
  CHECK(rig.Call(kAction) == 0);
  CHECK(bench.Targets().empty());
  CHECK(rig.Property(L"QX_PREREQFILES").empty());
  CHECK(ui.Of(INSTALLMESSAGE_ERROR).size() == 1);
  CHECK(ui.Prompts() == Prompts{{4156, L"lost.exe"}});
  CHECK(ui.ActionData().empty());
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("a Cancel on the bar ends the phase, and the next run continues the file") {
  const auto content = TestContent(3000000);
  Bench bench([&](const HttpRequest& request, size_t) { return ServeRange(request, content); });
  bench.package.AddPrerequisite({.name = L"big",
                                 .location = L"1",
                                 .url = bench.Url("/big.exe"),
                                 .size = L"3000000",
                                 .md5 = Digest(*content)});
  bench.package.AddPrerequisite(
      {.name = L"next", .sequence = 2, .location = L"1", .url = bench.Url("/next.exe")});
  bench.package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(bench.package);
  ui.Clear();
  for (const int answer : {IDOK, IDOK, IDOK, IDCANCEL}) ui.Answer(INSTALLMESSAGE_PROGRESS, answer);
  CHECK(rig.Call(kAction) == 0);
  CHECK(ui.Of(INSTALLMESSAGE_PROGRESS).size() == 4);  // Nothing more after the Cancel.
  CHECK(ui.Of(INSTALLMESSAGE_ERROR).empty());
  CHECK(ui.Prompts().empty());
  CHECK_FALSE(bench.Exists(L"big.exe"));
  CHECK_FALSE(bench.Exists(L"next.exe"));
  const size_t kept = bench.Content(L"big.exe.part").size();
  CHECK(kept > 0);
  CHECK(kept <= 51200 * 10);

  ui.Answer(INSTALLMESSAGE_PROGRESS, IDCANCEL);  // At once, to the reset of the bar.
  CHECK(rig.Call(kAction) == 0);
  CHECK(bench.Content(L"big.exe.part").size() == kept);

  ui.Clear();
  CHECK(rig.Call(kAction) == 0);
  CHECK(bench.server.requests().at(bench.server.requests().size() - 2).Range() == kept);
  CHECK(bench.Content(L"big.exe") == *content);
  CHECK(bench.Exists(L"next.exe"));
  CHECK(ui.Prompts().empty());
  CHECK(ui.ProgressTicks() == 4096);
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("without rows to download nothing is prepared or shown but the action") {
  Bench bench([](const HttpRequest&, size_t) { return HttpReply{}; });
  bench.package.AddPrerequisite({.name = L"packed", .location = L"0"});
  bench.package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(bench.package);
  ui.Clear();
  CHECK(rig.Call(kAction) == 0);
  CHECK(ui.messages().size() == 1);
  CHECK(rig.Property(L"QX_PREREQDIRS").empty());
  CHECK(rig.CountLeakedHandles() == 0);
}
