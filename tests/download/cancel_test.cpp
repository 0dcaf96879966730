#include <doctest.h>

#include <memory>

#include "download/recording_listener.h"
#include "support/ftp_server.h"

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
uint32_t End_(const Downloader& downloader) {
  REQUIRE(::WaitForSingleObject(downloader.GetThread(), kLongEnoughMs) == WAIT_OBJECT_0);
  DWORD code = 0;
  ::GetExitCodeThread(downloader.GetThread(), &code);
  return code;
}

}  // namespace

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
        const uint32_t result = End_(*downloader);
        CHECK(listener.seen_at - start <= 100);
        // Between two chunks a cancel ends the transfer without a code.
        CHECK((result == download::kCancelled || result == 0));
      }
      MESSAGE(place.name, " ", destroy, " ", ::GetTickCount() - start, " ms");
      for (const std::string& event : listener.events()) CHECK_FALSE(event.starts_with("error"));
      CHECK(target.Content() == "old");
    }
  }
}
