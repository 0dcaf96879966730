#include <doctest.h>

#include <algorithm>

#include "download/recording_listener.h"
#include "support/download_rig.h"
#include "support/fault_server.h"
#include "support/http_server.h"

using namespace test;
using End = HttpReply::End;
using Events = std::vector<std::string>;

namespace {

constexpr uint32_t kTimeout = 12002;

std::string ErrorEvent(uint32_t code) { return "error 0 " + std::to_string(code); }
std::string InfoEvent(size_t size) { return "info " + std::to_string(size); }

std::vector<std::optional<uint32_t>> Ranges(const HttpServer& server) {
  std::vector<std::optional<uint32_t>> ranges;
  for (const HttpRequest& request : server.requests()) ranges.push_back(request.Range());
  return ranges;
}

}  // namespace

TEST_CASE("files of every size arrive whole, in chunks of at most 51200 bytes") {
  for (const size_t size : {0u, 1u, 51199u, 51200u, 51201u, 1000000u}) {
    CAPTURE(size);
    const auto content = TestContent(size);
    HttpServer server(
        [&](const HttpRequest& request, size_t) { return ServeRange(request, content); });
    const Target target;
    target.Write("old");
    RecordingListener listener;
    CHECK(Download(server.Url("/setup.exe?x=1"), target, &listener) == 0);
    CHECK(target.Content() == *content);
    CHECK_FALSE(target.HasPartial());
    CHECK(listener.events() == Events{InfoEvent(size), "complete 1"});
    REQUIRE_FALSE(listener.progress_calls.empty());
    CHECK(listener.progress_calls.front() == 0);
    for (const uint32_t bytes : listener.progress_calls) CHECK(bytes <= 51200);
    CHECK(listener.received == size);
    REQUIRE(server.requests().size() == 1);
    const HttpRequest request = server.requests().front();
    CHECK(request.method == "GET");
    CHECK(request.target == "/setup.exe?x=1");
    CHECK(request.version == "HTTP/1.0");
    CHECK(request.Header("User-Agent") == "Quorix");
    CHECK(request.Header("Accept") == "*/*");
    CHECK_FALSE(request.Range());
  }
}

TEST_CASE("a transfer that breaks off ends in the exact file or in a code, with nothing lost") {
  constexpr size_t kSize = 300000;
  const auto content = TestContent(kSize);
  const auto page = Text("<p>an error page</p>");
  const auto head = [&](size_t count) { return content->substr(0, count); };
  // What the server says to the first request and to those after it.
  struct {
    const char* name;
    HttpReply first;
    HttpReply next;
    bool resume;
    uint32_t result;
    size_t kept;  // Of the partial file when the result is not 0, else of the target.
  } const cases[] = {
      {"end after the head", {.body = content, .end_after = 0}, {.status = 0}, true, 0, kSize},
      {"end after a byte", {.body = content, .end_after = 1}, {.status = 0}, true, 0, kSize},
      {"end at a chunk", {.body = content, .end_after = 51200}, {.status = 0}, true, 0, kSize},
      {"end past a chunk", {.body = content, .end_after = 51201}, {.status = 0}, true, 0, kSize},
      {"end before the last byte",
       {.body = content, .end_after = kSize - 1},
       {.status = 0},
       true,
       0,
       kSize},
      {"reset",
       {.body = content, .end_after = 100000, .end = End::kReset},
       {.status = 0},
       true,
       0,
       kSize},
      {"slow pieces",
       {.body = content, .end_after = 90000, .piece_bytes = 30000, .piece_pause_ms = 10},
       {.status = 0},
       true,
       0,
       kSize},
      {"no resume", {.body = content, .end_after = 60000}, {.status = 0}, false, kTimeout, 60000},
      {"no resume, nothing came",
       {.body = content, .end_after = 0},
       {.status = 0},
       false,
       0,
       kSize},
      {"200 to the range",
       {.body = content, .end_after = 60000},
       {.body = content},
       true,
       kTimeout,
       60000},
      {"another range",
       {.body = content, .end_after = 60000},
       {.status = 206,
        .headers = {"Content-Range: bytes 1-299999/300000"},
        .body = content,
        .from = 1},
       true,
       kTimeout,
       60000},
      {"a range without length",
       {.body = content, .end_after = 60000},
       {.status = 206, .body = content, .from = 60000, .has_length = false},
       true,
       kTimeout,
       60000},
      {"longer than announced",
       {.body = content, .length = kSize - 100000},
       {},
       true,
       0,
       kSize - 100000},
      {"shorter than announced",
       {.body = content, .length = kSize + 1},
       {.status = 0},
       true,
       kTimeout,
       kSize},
      {"no length, all comes", {.body = content, .has_length = false}, {}, true, 0, kSize},
      {"no length, an end counts as the end",
       {.body = content, .has_length = false, .end_after = 70000},
       {},
       true,
       0,
       70000},
      {"gone meanwhile",
       {.body = content, .end_after = 60000},
       {.status = 404, .body = page},
       true,
       download::kNotFound,
       60000},
      {"not modified meanwhile",
       {.body = content, .end_after = 60000},
       {.status = 304},
       true,
       download::kNotModified,
       60000},
      {"an error meanwhile",
       {.body = content, .end_after = 60000},
       {.status = 500, .body = page},
       true,
       kTimeout,
       60000},
      {"no answer meanwhile",
       {.body = content, .end_after = 60000},
       {.silent = true},
       true,
       kTimeout,
       60000},
  };
  for (const auto& row : cases) {
    CAPTURE(row.name);
    HttpServer server([&](const HttpRequest& request, size_t index) {
      if (index == 0) return row.first;
      return row.next.status == 0 ? ServeRange(request, content) : row.next;
    });
    const Target target;
    target.Write("old");
    RecordingListener listener;
    CHECK(Download(server.Url("/setup.exe"), target, &listener, nullptr, row.resume) == row.result);
    if (row.result == 0) {
      CHECK(target.Content() == head(row.kept));
      CHECK_FALSE(target.HasPartial());
      CHECK(listener.events().back() == "complete 1");
    } else {
      CHECK(target.Content() == "old");
      CHECK(target.Partial() == head(row.kept));
      CHECK(listener.events().back() == ErrorEvent(row.result));
    }
    CHECK(listener.events().size() == 2);  // File information and one end.
  }
}

TEST_CASE("a transfer survives several drops, each continued at the exact byte") {
  const FaultServer server;
  const Target target;
  RecordingListener listener;
  CHECK(Download(server.Url("size=400000&cut=100001&times=3&then=ok"), target, &listener) == 0);
  CHECK((target.Content() == ServedContent(400000)));
  CHECK(server.Ranges() == "- 100001 200002 300003");
  CHECK(listener.received == 400000);
  // The reopening is silent.
  const std::vector<uint32_t> states = listener.states();
  CHECK(std::count(states.begin(), states.end(), 1u) == 1);
}

TEST_CASE("a server that drops without a byte, again and again, is given up") {
  const FaultServer server;
  const Target target;
  CHECK(Download(server.Url("size=400000&cut=100001&then=cut=0"), target) == kTimeout);
  CHECK((target.Partial() == ServedContent(100001)));
  // The first, and as many again as a connection is tried.
  CHECK(server.Log().size() == 8);
}

TEST_CASE("a partial file is continued, or begun anew, or found to be all there is") {
  constexpr size_t kSize = 300000;
  constexpr size_t kPartial = 100000;
  const auto content = TestContent(kSize);
  struct {
    const char* name;
    HttpReply first;
    size_t partial;
    bool resume;
    uint32_t result;
    uint32_t first_progress;
    size_t requests;
  } const cases[] = {
      {"continued", {.status = 0}, kPartial, true, 0, kPartial, 1},
      {"no resume asked for", {.status = 0}, kPartial, false, 0, 0, 1},
      {"whole file to the range", {.body = content}, kPartial, true, 0, 0, 1},
      {"as large as the server's",
       {.body = content},
       kSize,
       true,
       download::kAlreadyComplete,
       0,
       1},
      {"larger than the server's",
       {.body = content},
       kSize + 1,
       true,
       download::kAlreadyComplete,
       0,
       1},
      {"nothing left to send", {.status = 0}, kSize, true, 0, 0, 2},
      {"a part of the range",
       {.status = 206,
        .headers = {"Content-Range: bytes 100000-199999/300000"},
        .body = TestContent(kPartial)},
       kPartial,
       true,
       0,
       0,
       2},
      {"another range",
       {.status = 206,
        .headers = {"Content-Range: bytes 5-299999/300000"},
        .body = content,
        .from = 5},
       kPartial,
       true,
       0,
       0,
       2},
      {"a range of unknown length",
       {.status = 206, .body = content, .from = kPartial, .has_length = false},
       kPartial,
       true,
       0,
       0,
       2},
      {"a range that does not say where",
       {.status = 206, .body = content, .from = kPartial},
       kPartial,
       true,
       0,
       kPartial,
       1},
      {"not modified", {.status = 304}, kPartial, true, download::kNotModified, 0, 1},
  };
  for (const auto& row : cases) {
    CAPTURE(row.name);
    HttpServer server([&](const HttpRequest& request, size_t index) {
      return index == 0 && row.first.status != 0 ? row.first : ServeRange(request, content);
    });
    const Target target;
    const std::string partial = TestContent(row.partial)->substr(0, row.partial);
    target.WritePartial(partial);
    RecordingListener listener;
    CHECK(Download(server.Url("/setup.exe"), target, &listener, nullptr, row.resume) == row.result);
    CHECK(Ranges(server).size() == row.requests);
    CHECK(Ranges(server)[0] == (row.resume ? std::optional<uint32_t>(row.partial) : std::nullopt));
    if (row.result == 0) {
      CHECK(target.Content() == *content);
      CHECK(listener.events() == Events{InfoEvent(kSize), "complete 1"});
      CHECK(listener.progress_calls[0] == row.first_progress);
    } else {
      CHECK(target.Partial() == partial);
      CHECK(listener.events() ==
            (row.result == download::kNotModified ? Events{} : Events{ErrorEvent(row.result)}));
    }
  }
}

TEST_CASE("every status has its result") {
  const auto page = Text("<p>not the file</p>");
  struct {
    int status;
    uint32_t result;
  } const cases[] = {
      {401, download::kAuthenticationRequired},
      {407, download::kAuthenticationRequired},
      {403, download::kForbidden},
      {404, download::kNotFound},
      {410, download::kNotFound},
      {304, download::kNotModified},
      {500, 0},
      {503, 0},
      {416, 0},
  };
  for (const auto& row : cases) {
    CAPTURE(row.status);
    HttpServer server(
        [&](const HttpRequest&, size_t) { return HttpReply{.status = row.status, .body = page}; });
    const Target target;
    target.Write("old");
    target.WritePartial("part");
    RecordingListener listener;
    CHECK(Download(server.Url("/setup.exe"), target, &listener) == row.result);
    if (row.result == 0) {
      // The server's page is all there is to get.
      CHECK(target.Content() == *page);
    } else {
      CHECK(target.Content() == "old");
      CHECK(target.Partial() == "part");
      CHECK(listener.events() == (row.status == 304 ? Events{} : Events{ErrorEvent(row.result)}));
    }
  }
}

TEST_CASE("redirects are followed, and a cancel ends a loop of them") {
  const auto content = TestContent(1000);
  RecordingListener listener;
  HttpServer server([&](const HttpRequest& request, size_t index) {
    if (index == 20) {
      listener.cancelled = true;
      return HttpReply{.end = End::kStall, .silent = true};
    }
    if (request.target == "/moved")
      return HttpReply{.status = 302, .headers = {"Location: /there"}};
    if (request.target == "/loop") return HttpReply{.status = 302, .headers = {"Location: /loop"}};
    return ServeRange(request, content);
  });
  const Target moved;
  CHECK(Download(server.Url("/moved"), moved) == 0);
  CHECK(moved.Content() == *content);
  const Target loop;
  CHECK(Download(server.Url("/loop"), loop, &listener) == download::kCancelled);
  CHECK(listener.events().empty());
}

TEST_CASE("what no request can be made for is reported by its code") {
  const auto report = [](const std::string& url) {
    const Target target;
    RecordingListener listener;
    const uint32_t result = Download(url, target, &listener);
    CHECK_FALSE(target.Has());
    CHECK_FALSE(target.HasPartial());
    CHECK(listener.events() == Events{ErrorEvent(result)});
    return result;
  };
  CHECK(report("mailto:nobody@example.com") == 2);
  CHECK(report("gopher://127.0.0.1/x") == 12006);
  CHECK(report("no url at all") == 12006);
  CHECK(report("") != 0);
}

TEST_CASE("a partial file that cannot be opened is reported, and the folders above it are made") {
  const auto content = TestContent(5000);
  HttpServer server(
      [&](const HttpRequest& request, size_t) { return ServeRange(request, content); });
  const Target deep("a\\b\\setup.exe");
  CHECK(Download(server.Url("/x"), deep) == 0);
  CHECK(deep.Content() == *content);

  const Target busy;
  busy.WritePartial("held");
  const util::UniqueFile holder(::CreateFileA((busy.path() + ".part").c_str(), GENERIC_READ,
                                              FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  RecordingListener listener;
  CHECK(Download(server.Url("/x"), busy, &listener) == ERROR_SHARING_VIOLATION);
  CHECK(listener.events() == Events{InfoEvent(5000), ErrorEvent(ERROR_SHARING_VIOLATION)});

  const Target blocked("file\\setup.exe");
  const std::string in_the_way = blocked.folder() + "\\file";
  const util::UniqueFile file(
      ::CreateFileA(in_the_way.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  RecordingListener blocked_listener;
  CHECK(Download(server.Url("/x"), blocked, &blocked_listener) == ERROR_ALREADY_EXISTS);
  CHECK(blocked_listener.events().back() == ErrorEvent(ERROR_ALREADY_EXISTS));
}

TEST_CASE("extra headers and the last modification") {
  HttpServer server([&](const HttpRequest& request, size_t) {
    HttpReply reply = ServeRange(request, Text("body"));
    if (request.target == "/dated")
      reply.headers = {"Last-Modified: Tue, 15 Nov 1994 12:45:26 GMT"};
    return reply;
  });
  const Target target;
  target.WritePartial("b");
  download::Downloader downloader(target.folder(), nullptr, nullptr);
  CHECK(downloader.Start(server.Url("/dated"), "setup.exe", nullptr, true, true,
                         "X-One: 1\r\nX-Two: 2\r\n", true) == 0);
  CHECK(target.Content() == "body");
  const HttpRequest request = server.requests().front();
  CHECK(request.Range() == 1);
  CHECK(request.Header("X-One") == "1");
  CHECK(request.Header("X-Two") == "2");
  SYSTEMTIME time = {};
  downloader.GetLastModified(&time);
  CHECK(time.wYear == 1994);
  CHECK(time.wSecond == 26);
  // Started again, the same object forgets it.
  CHECK(downloader.Start(server.Url("/plain"), "setup.exe", nullptr, true, true, nullptr, true) ==
        0);
  downloader.GetLastModified(&time);
  CHECK(time.wYear == 0);
}

TEST_CASE("a server proposes a name, by the first header that has one") {
  struct {
    std::vector<std::string> headers;
    int status;
    const char* name;
  } const cases[] = {
      {{"Location: http://other.example/d/My%20Setup.exe"}, 302, "My Setup.exe"},
      {{"Location: plain.exe", "Content-Location: /no.exe"}, 302, "plain.exe"},
      {{"Content-Location: /d/a%3Ab.exe", "Content-Disposition: attachment; filename=no.exe"},
       200,
       "a_b.exe"},
      {{"Content-Disposition: attachment; filename=\"my setup.exe\""}, 200, "my setup.exe"},
      {{"Content-Disposition: attachment; size=5; filename = d/s.exe"}, 200, "d_s.exe"},
      {{"Content-Disposition: inline"}, 200, ""},
      {{}, 200, ""},
      {{"Content-Location: /" + std::string(400, 'n') + ".exe"}, 200, nullptr},
  };
  for (const auto& row : cases) {
    HttpServer server([&](const HttpRequest&, size_t) {
      return HttpReply{.status = row.status, .headers = row.headers};
    });
    download::Downloader downloader(nullptr, nullptr);
    std::string name = "before";
    CHECK(downloader.ResolveFileName(server.Url("/x"), &name) == 0);
    CHECK(name == (row.name != nullptr ? row.name : std::string(400, 'n') + ".exe"));
    REQUIRE(server.requests().size() == 1);  // A redirect is not followed.
    CHECK(server.requests().front().method == "HEAD");
  }
  std::string name = "before";
  download::Downloader downloader(nullptr, nullptr);
  CHECK(downloader.ResolveFileName("ftp://127.0.0.1/x", &name) == 0);
  HttpServer refusing([&](const HttpRequest&, size_t) { return HttpReply{.status = 403}; });
  CHECK(downloader.ResolveFileName(refusing.Url("/x"), &name) == download::kForbidden);
  CHECK(name == "before");
}

TEST_CASE("a probe says whether the server has the file, a reach whether there is a server") {
  HttpServer server([&](const HttpRequest& request, size_t) {
    return HttpReply{.status = request.target == "/there" ? 200 : 404, .body = Text("x")};
  });
  CHECK(download::Downloader::ProbeUrl(server.Url("/there")));
  CHECK_FALSE(download::Downloader::ProbeUrl(server.Url("/not")));
  CHECK(server.requests().front().method == "HEAD");
  CHECK_FALSE(download::Downloader::ProbeUrl("mailto:a@b"));
  CHECK(download::Downloader::IsReachable(server.Url("/")));
  unsigned short port = 0;
  ListenOnLoopback(&port);  // Closed again at once: nobody listens there.
  CHECK_FALSE(download::Downloader::IsReachable("http://127.0.0.1:" + std::to_string(port) + "/"));
}
