#include <doctest.h>

#include <array>
#include <memory>

#include "download/recording_listener.h"
#include "support/download_rig.h"
#include "support/fault_server.h"

using namespace test;
using download::Downloader;

namespace {

constexpr DWORD kLongEnoughMs = 20000;

// A download that runs on its own.
struct Running {
  Running(const std::string& url, const Target& target, HWND parent = nullptr)
      : downloader(std::make_unique<Downloader>(target.folder(), &listener, nullptr)) {
    REQUIRE(downloader->Start(url, target.name(), parent, /*resume=*/true, /*wait=*/false, nullptr,
                              false) == 0);
  }
  bool EndsWithin(DWORD ms) const {
    return ::WaitForSingleObject(downloader->GetThread(), ms) == WAIT_OBJECT_0;
  }
  uint32_t Result() const {
    REQUIRE(EndsWithin(kLongEnoughMs));
    DWORD code = 0;
    ::GetExitCodeThread(downloader->GetThread(), &code);
    return code;
  }
  RecordingListener listener;
  std::unique_ptr<Downloader> downloader;
};

}  // namespace

// An FTP login and a read from FTP block inside Wine's library, which makes no difference between
// the two kinds of session there; so these two steps are not among the places.
TEST_CASE("a cancel is seen in every step that can wait, and never reported as an error") {
  struct {
    const char* steps;
    bool ftp;
    int replies;  // When the last of them stalls, the cancel comes.
    bool reads;   // Wine waits for data within a call, at whose end the cancel has no code.
  } const places[] = {
      {"hang", false, 1, false},
      {"size=200000&stall=70000", false, 1, true},
      {"size=200000&cut=70000&then=hang", false, 2, false},
      {"redirect=self&times=8&then=hang", false, 9, false},
      {"hang", true, 1, false},
  };
  for (const auto& place : places) {
    for (const bool destroy : {false, true}) {
      CAPTURE(std::string(place.steps));
      CAPTURE(destroy);
      const FaultServer server;
      const Target target;
      target.Write("old");
      Running run(place.ftp ? server.FtpUrl(place.steps) : server.Url(place.steps), target);
      server.AwaitReplies(place.replies);
      const DWORD start = ::GetTickCount();
      if (destroy) {
        run.downloader.reset();
      } else {
        run.listener.cancelled = true;
        const uint32_t result = run.Result();
        CHECK((result == download::kCancelled || (place.reads && result == 0)));
        CHECK(run.listener.seen_at - start <= 100);
      }
      // Beyond the notice, the library is given time to let its call go.
      CHECK(::GetTickCount() - start <= 2500);
      CHECK(run.listener.Trace().find("error") == std::string::npos);
      CHECK(target.Content() == "old");
    }
  }
}

TEST_CASE("a paused transfer waits, goes on and can be cancelled") {
  for (const bool cancel : {false, true}) {
    const FaultServer server;
    const Target target;
    Running run(server.Url("size=300000&pause=20&piece=30000"), target);
    run.listener.paused = true;
    CHECK_FALSE(run.EndsWithin(400));
    const uint32_t received = run.listener.received;
    CHECK_FALSE(run.EndsWithin(100));
    CHECK(run.listener.received == received);
    (cancel ? run.listener.cancelled : run.listener.paused) = cancel;
    const uint32_t result = run.Result();
    CHECK((result == 0 || (cancel && result == download::kCancelled)));
    CHECK((target.Content() == (cancel ? "" : ServedContent(300000))));
  }
}

TEST_CASE("a server that is not there is tried again after ten seconds, and the wait cancelled") {
  const std::string port = FaultServer::Ask("closed");
  const std::string url = "http://127.0.0.1:" + port + "/size=1000/x";
  {
    const Target target;
    RecordingListener listener;
    Downloader downloader(target.folder(), &listener, nullptr);
    downloader.SetRetries(0);
    CHECK(downloader.Start(url, target.name(), nullptr, true, true, nullptr, false) == 12029);
    CHECK(listener.Trace() == "state 1, error 0 12029");
  }
  const Target cancelled_target;
  const Target target;
  target.WritePartial(ServedContent(400));
  const DWORD start = ::GetTickCount();
  Running run(url, target);
  Running cancelled(url, cancelled_target);
  CHECK_FALSE(cancelled.EndsWithin(500));
  const DWORD cancel = ::GetTickCount();
  cancelled.listener.cancelled = true;
  CHECK(cancelled.Result() == download::kCancelled);
  CHECK(cancelled.listener.seen_at - cancel <= 110);
  CHECK(cancelled.listener.Trace() == "state 1");
  FaultServer::Ask("open?port=" + port);
  CHECK(run.Result() == 0);
  CHECK(::GetTickCount() - start >= 9900);
  CHECK(run.listener.Trace() == "state 1, info 1000, from 400, complete 1");
  CHECK((target.Content() == ServedContent(1000)));
}

TEST_CASE("a server that answers without a byte for a second and a half is waited for") {
  const FaultServer server;
  const Target target;
  RecordingListener listener;
  const std::string away = "size=300000&cut=60000&then=lasts=1500&cut=0&then=ok";
  CHECK(Download(server.Url(away), target, &listener) == 0);
  CHECK(listener.Trace() == "state 1, info 300000, from 0, complete 1");
  CHECK((target.Content() == ServedContent(300000)));
}

TEST_CASE("two transfers that share the events' names do not disturb each other") {
  const FaultServer server;
  const Target targets[2];
  const std::string url = server.Url("size=1000000&piece=20000&pause=3");
  const Running first(url, targets[0]);
  const Running second(url, targets[1]);
  CHECK(first.Result() == 0);
  CHECK(second.Result() == 0);
  for (const Target& target : targets) CHECK((target.Content() == ServedContent(1000000)));
}

TEST_CASE("a hidden parent window is wanted visible before a prompt") {
  const FaultServer server;
  const HWND window = ::CreateWindowExA(0, "STATIC", "", WS_OVERLAPPED, 0, 0, 10, 10, nullptr,
                                        nullptr, nullptr, nullptr);
  REQUIRE(window != nullptr);
  // Showing the window is up to the listener; a cancel ends the wait too.
  for (const bool show : {true, false}) {
    const Target target;
    Running run(server.Url("need=me:secret", "x", FaultServer::Ask("open")), target, window);
    while (run.listener.Trace() != "state 1, state 7") REQUIRE_FALSE(run.EndsWithin(10));
    CHECK_FALSE(run.EndsWithin(50));
    if (show) {
      ::ShowWindow(window, SW_SHOWNA);
    } else {
      run.listener.cancelled = true;
    }
    MSG message;
    while (::MsgWaitForMultipleObjects(1, std::array{run.downloader->GetThread()}.data(), FALSE,
                                       5000, QS_ALLINPUT) == WAIT_OBJECT_0 + 1) {
      while (::PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageA(&message);
    }
    CHECK(run.Result() == (show ? download::kAuthenticationRequired : download::kCancelled));
    CHECK(run.listener.Trace() ==
          std::string("state 1, state 7, state 5, state 4") + (show ? ", error 0 3758096402" : ""));
    ::ShowWindow(window, SW_HIDE);
  }
  ::DestroyWindow(window);
}
