#include <doctest.h>

#include <windows.h>
#include <psapi.h>

#include <memory>

#include "download/recording_listener.h"
#include "support/download_rig.h"
#include "support/ftp_server.h"
#include "support/http_server.h"
#include "util/md5.h"

using namespace test;
using download::Downloader;
using End = HttpReply::End;

namespace {

constexpr DWORD kLongEnoughMs = 20000;

void Start(Downloader* downloader, const std::string& url, const Target& target) {
  REQUIRE(downloader->Start(url, target.name(), nullptr, /*resume=*/true, /*wait=*/false, nullptr,
                            false) == 0);
}

// The result of a transfer that runs on its own.
uint32_t EndOf(const Downloader& downloader) {
  REQUIRE(::WaitForSingleObject(downloader.GetThread(), kLongEnoughMs) == WAIT_OBJECT_0);
  DWORD code = 0;
  ::GetExitCodeThread(downloader.GetThread(), &code);
  return code;
}

}  // namespace

// An FTP login and a read from FTP block inside Wine's library, which makes no difference between
// the two kinds of session there; so these two steps are not among the places.
TEST_CASE("a cancel is seen in every step that can wait, and never reported as an error") {
  const auto content = TestContent(200000);
  struct Place {
    const char* name;
    HttpReply http;
    FtpServer::Script ftp;
    bool is_ftp;
  } const places[] = {
      {"the server is silent", {.end = End::kStall, .silent = true}, {}, false},
      {"the body stops", {.body = content, .end_after = 70000, .end = End::kStall}, {}, false},
      {"opening the file hangs", {}, {.stall_at_open = true}, true},
  };
  for (const Place& place : places) {
    for (const bool destroy : {false, true}) {
      CAPTURE(place.name);
      CAPTURE(destroy);
      HttpServer http([&](const HttpRequest&, size_t) { return place.http; });
      FtpServer ftp(place.ftp);
      const Target target;
      target.Write("old");
      RecordingListener listener;
      auto downloader = std::make_unique<Downloader>(target.folder(), &listener, nullptr);
      Start(downloader.get(), place.is_ftp ? ftp.Url("/file.bin") : http.Url("/x"), target);
      REQUIRE(::WaitForSingleObject(place.is_ftp ? ftp.stalled() : http.reached_end(),
                                    kLongEnoughMs) == WAIT_OBJECT_0);
      const DWORD start = ::GetTickCount();
      if (destroy) {
        downloader.reset();
      } else {
        listener.cancelled = true;
        const uint32_t result = EndOf(*downloader);
        CHECK(listener.seen_at - start <= 100);
        // Between two chunks a cancel ends the transfer without a code.
        CHECK((result == download::kCancelled || result == 0));
      }
      // Beyond the notice, the library is given time to let its call go.
      CHECK(::GetTickCount() - start <= 2500);
      for (const std::string& event : listener.events()) CHECK_FALSE(event.starts_with("error"));
      CHECK(target.Content() == "old");
    }
  }
}

TEST_CASE("a cancel between two steps ends the transfer without a code") {
  const auto content = TestContent(200000);
  HttpServer server(
      [&](const HttpRequest& request, size_t) { return ServeRange(request, content); });
  const Target target;
  RecordingListener at_info;
  at_info.cancel_at_info = true;
  CHECK(Download(server.Url("/x"), target, &at_info) == 0);
  CHECK(at_info.events() == std::vector<std::string>{"info 200000"});
  CHECK_FALSE(target.HasPartial());

  RecordingListener after_chunk;
  after_chunk.cancel_after = 60000;
  CHECK(Download(server.Url("/x"), target, &after_chunk) == 0);
  CHECK(after_chunk.events() == std::vector<std::string>{"info 200000"});
  CHECK_FALSE(target.Has());
  CHECK(target.Partial().size() == after_chunk.received);
  CHECK(after_chunk.received < 60000 + 51200);
}

TEST_CASE("a paused transfer waits, goes on and can be cancelled") {
  const auto content = TestContent(300000);
  HttpServer server(
      [&](const HttpRequest& request, size_t) { return ServeRange(request, content); });
  for (const bool cancel : {false, true}) {
    const Target target;
    RecordingListener listener;
    listener.pause_after = 100000;
    Downloader downloader(target.folder(), &listener, nullptr);
    Start(&downloader, server.Url("/x"), target);
    while (!listener.paused)
      REQUIRE(::WaitForSingleObject(downloader.GetThread(), 5) == WAIT_TIMEOUT);
    const uint32_t received = listener.received;
    CHECK(::WaitForSingleObject(downloader.GetThread(), 100) == WAIT_TIMEOUT);
    CHECK(listener.received == received);
    (cancel ? listener.cancelled : listener.paused) = cancel;
    CHECK(EndOf(downloader) == 0);
    CHECK(target.Has() == !cancel);
    if (!cancel) CHECK(target.Content() == *content);
  }
}

TEST_CASE("a server that is not there is tried again after ten seconds, and the wait cancelled") {
  unsigned short port = 0;
  ListenOnLoopback(&port);  // Closed again: nobody listens there for now.
  const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/x";
  {
    const Target target;
    RecordingListener listener;
    Downloader downloader(target.folder(), &listener, nullptr);
    downloader.SetRetries(0);
    CHECK(downloader.Start(url, target.name(), nullptr, true, true, nullptr, false) == 12029);
    CHECK(listener.events() == std::vector<std::string>{"error 0 12029"});
  }
  {
    const Target target;
    RecordingListener listener;
    Downloader downloader(target.folder(), &listener, nullptr);
    Start(&downloader, url, target);
    CHECK(::WaitForSingleObject(downloader.GetThread(), 500) == WAIT_TIMEOUT);
    const DWORD start = ::GetTickCount();
    listener.cancelled = true;
    CHECK(EndOf(downloader) == download::kCancelled);
    CHECK(listener.seen_at - start <= 110);
    CHECK(listener.events().empty());
  }
  const auto content = TestContent(1000);
  const Target target;
  target.WritePartial(content->substr(0, 400));
  RecordingListener listener;
  Downloader downloader(target.folder(), &listener, nullptr);
  const DWORD start = ::GetTickCount();
  Start(&downloader, url, target);
  CHECK(::WaitForSingleObject(downloader.GetThread(), 1000) == WAIT_TIMEOUT);
  HttpServer server(
      [&](const HttpRequest& request, size_t) { return ServeRange(request, content); }, port);
  CHECK(EndOf(downloader) == 0);
  CHECK(::GetTickCount() - start >= 9900);
  CHECK(target.Content() == *content);
  CHECK(server.requests().at(0).Range() == 400);  // The failed attempt has not lost it.
}

TEST_CASE("the download of a child process" * doctest::skip()) {
  char url[200];
  char path[MAX_PATH];
  REQUIRE(::GetEnvironmentVariableA("DOWNLOAD_TEST_URL", url, sizeof(url)) != 0);
  REQUIRE(::GetEnvironmentVariableA("DOWNLOAD_TEST_PATH", path, sizeof(path)) != 0);
  CHECK(Downloader("", nullptr, nullptr).Start(url, path, nullptr, true, true, nullptr, false) ==
        0);
}

TEST_CASE("two processes that share the events' names do not disturb each other") {
  const auto content = TestContent(3000000);
  HttpServer server([&](const HttpRequest& request, size_t) {
    HttpReply reply = ServeRange(request, content);
    reply.piece_pause_ms = 5;
    return reply;
  });
  char program[MAX_PATH];
  ::GetModuleFileNameA(nullptr, program, MAX_PATH);
  std::string line = std::string(program) + " -tc=\"the download of a child process\" --no-skip";
  const Target targets[2];
  util::UniqueKernelHandle children[2];
  for (int i = 0; i < 2; ++i) {
    ::SetEnvironmentVariableA("DOWNLOAD_TEST_URL", server.Url("/x").c_str());
    ::SetEnvironmentVariableA("DOWNLOAD_TEST_PATH", targets[i].path().c_str());
    STARTUPINFOA startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    REQUIRE(::CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &process));
    children[i].Reset(process.hProcess);
    ::CloseHandle(process.hThread);
  }
  for (int i = 0; i < 2; ++i) {
    REQUIRE(::WaitForSingleObject(children[i].Get(), 30000) == WAIT_OBJECT_0);
    CHECK(targets[i].Content() == *content);
  }
}

TEST_CASE("many downloads in a row leave no handle and no memory behind") {
  const auto content = TestContent(60000);
  HttpServer server([&](const HttpRequest& request, size_t index) {
    HttpReply reply = ServeRange(request, content);
    if (index % 3 == 0) reply.end_after = 55000;
    if (index % 7 == 0) return HttpReply{.status = 404};
    return reply;
  });
  const auto run = [&](int count) {
    for (int i = 0; i < count; ++i) {
      const Target target;
      (void)Download(server.Url("/x"), target);
    }
    // Handles are numbered from the bottom up, so a leak moves the next one.
    const util::UniqueKernelHandle next(::CreateEventA(nullptr, FALSE, FALSE, nullptr));
    PROCESS_MEMORY_COUNTERS memory = {};
    ::GetProcessMemoryInfo(::GetCurrentProcess(), &memory, sizeof(memory));
    return std::pair(reinterpret_cast<uintptr_t>(next.Get()) / 4, memory.PagefileUsage);
  };
  const auto before = run(20);
  const auto after = run(180);
  CHECK(after.first <= before.first + 20);
  CHECK(after.second <= before.second + 2000000);
}

TEST_CASE("a large file arrives whole") {
  constexpr size_t kSize = 200 * 1024 * 1024;
  const auto content = TestContent(kSize);
  HttpServer server(
      [&](const HttpRequest& request, size_t) { return ServeRange(request, content); });
  const Target target;
  RecordingListener listener;
  CHECK(Download(server.Url("/x"), target, &listener) == 0);
  CHECK(listener.received == kSize);
  util::Md5 md5;
  md5.Update(content->data(), content->size());
  CHECK(util::ReadFileMd5(util::ToWide(target.path())) == md5.Finish());
}
