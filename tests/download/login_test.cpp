#include <doctest.h>

#include <algorithm>
#include <array>

#include "download/browser_value.h"
#include "download/recording_listener.h"
#include "support/download_rig.h"
#include "support/ftp_server.h"
#include "support/http_server.h"

using namespace test;
using Events = std::vector<std::string>;

namespace {

// "me:secret" in base 64.
constexpr char kRightLogin[] = "Basic bWU6c2VjcmV0";

class Provider final : public download::CredentialProvider {
 public:
  explicit Provider(RecordingListener* listener) : listener_(listener) {}

  void OnConnecting() override { ++connecting; }
  bool GetSavedCredentials(std::string* user, std::string* password) override {
    if (!has_saved) return false;
    has_saved = false;  // Once: a wrong one must not be tried for ever.
    *user = "me";
    *password = saved_password;
    return true;
  }
  void OnCredentialsApplied() override { listener_->Note("applied"); }
  bool PromptCredentials(const std::string& url, const std::string& realm, HWND parent,
                         std::string* user, std::string* password) override {
    listener_->Note("prompt " + realm);
    CHECK(url == asked_url);
    CHECK(parent == nullptr);
    if (!answers) return false;
    *user = "me";
    *password = "secret";
    return true;
  }

  std::string asked_url;
  std::string saved_password = "secret";
  bool has_saved = false;
  bool answers = true;
  int connecting = 0;

 private:
  RecordingListener* listener_;
};

}  // namespace

TEST_CASE("credentials are taken from the store, else asked for, until they fit or are declined") {
  const auto content = TestContent(90000);
  struct {
    bool proxy;
    bool has_saved;
    const char* saved_password;
    bool answers;
    uint32_t result;
    Events events;
  } const cases[] = {
      {false, true, "secret", false, 0, {"applied"}},
      {false, false, "", true, 0, {"prompt \"the realm\"", "applied"}},
      {false, true, "wrong", true, 0, {"applied", "prompt \"the realm\"", "applied"}},
      {false, false, "", false, download::kAuthenticationRequired, {"prompt \"the realm\""}},
      {true, true, "secret", false, 0, {"applied"}},
      {true, false, "", false, download::kAuthenticationRequired, {"prompt \"the realm\""}},
  };
  for (const auto& row : cases) {
    CAPTURE(row.proxy);
    CAPTURE(row.saved_password);
    HttpServer server([&](const HttpRequest& request, size_t) {
      const std::string login = request.Header(row.proxy ? "Proxy-Authorization" : "Authorization");
      if (login == kRightLogin) return ServeRange(request, content);
      const std::string ask = row.proxy ? "Proxy-Authenticate" : "WWW-Authenticate";
      return HttpReply{.status = row.proxy ? 407 : 401,
                       .headers = {ask + ": Basic realm=\"the realm\""}};
    });
    const Target target;
    target.WritePartial(content->substr(0, 1000));  // A login must not lose track of it.
    RecordingListener listener;
    Provider provider(&listener);
    provider.has_saved = row.has_saved;
    provider.saved_password = row.saved_password;
    provider.answers = row.answers;
    provider.asked_url = row.proxy ? "http://elsewhere.example/x" : server.Url("/x");
    download::Downloader downloader(target.folder(), &listener, &provider);
    if (row.proxy) {
      downloader.SetProxy("127.0.0.1:" + std::to_string(server.port()));
      CHECK(downloader.GetProxy() == "127.0.0.1:" + std::to_string(server.port()));
    }
    CHECK(downloader.Start(provider.asked_url, target.name(), nullptr, true, true, nullptr,
                           false) == row.result);
    Events expected = row.events;
    if (row.result == 0) {
      CHECK(target.Content() == *content);
      expected.insert(expected.end(), {"info 90000", "complete 1"});
    } else {
      CHECK(target.Partial() == content->substr(0, 1000));
      expected.push_back("error 0 " + std::to_string(row.result));
    }
    CHECK(listener.events() == expected);
    const std::vector<uint32_t> states = listener.states();
    CHECK(std::count(states.begin(), states.end(), 5) ==
          std::count(states.begin(), states.end(), 4));
    CHECK(std::count(states.begin(), states.end(), 5) > 0);
    CHECK(provider.connecting == 2);  // The attempt, and its one request.
    for (const HttpRequest& request : server.requests()) CHECK(request.Range() == 1000);
    if (row.proxy) CHECK(server.requests()[0].target.starts_with("http://elsewhere.example"));
  }
}

TEST_CASE("a hidden parent window is wanted visible before a prompt") {
  HttpServer server([&](const HttpRequest&, size_t) {
    return HttpReply{.status = 401, .headers = {"WWW-Authenticate: Basic realm=x"}};
  });
  const HWND window = ::CreateWindowExA(0, "STATIC", "", WS_OVERLAPPED, 0, 0, 10, 10, nullptr,
                                        nullptr, nullptr, nullptr);
  REQUIRE(window != nullptr);
  // Showing the window is up to the listener; a cancel ends the wait too.
  for (const bool show : {true, false}) {
    const Target target;
    RecordingListener listener;
    download::Downloader downloader(target.folder(), &listener, nullptr);
    REQUIRE(downloader.Start(server.Url("/x"), target.name(), window, true, false, nullptr,
                             false) == 0);
    const auto asked = [&] {
      const std::vector<uint32_t> states = listener.states();
      return std::find(states.begin(), states.end(), 7) != states.end();
    };
    while (!asked()) REQUIRE(::WaitForSingleObject(downloader.GetThread(), 10) == WAIT_TIMEOUT);
    CHECK(::WaitForSingleObject(downloader.GetThread(), 50) == WAIT_TIMEOUT);
    if (show) {
      ::ShowWindow(window, SW_SHOWNA);
    } else {
      listener.cancelled = true;
    }
    MSG message;
    while (::MsgWaitForMultipleObjects(1, std::array{downloader.GetThread()}.data(), FALSE, 5000,
                                       QS_ALLINPUT) == WAIT_OBJECT_0 + 1) {
      while (::PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageA(&message);
    }
    DWORD code = 0;
    ::GetExitCodeThread(downloader.GetThread(), &code);
    CHECK(code == (show ? download::kAuthenticationRequired : download::kCancelled));
    const std::vector<uint32_t> states = listener.states();
    CHECK(std::vector<uint32_t>(states.end() - 3, states.end()) == std::vector<uint32_t>{7, 5, 4});
    ::ShowWindow(window, SW_HIDE);
  }
  ::DestroyWindow(window);
}

TEST_CASE("an FTP file is fetched from its beginning, by name or by login") {
  const auto content = TestContent(120000);
  FtpServer server({.content = content, .user = "me", .password = "secret"});
  struct {
    std::string login;
    bool answers;
    bool has_saved;
    uint32_t result;
    Events events;
  } const cases[] = {
      {"me:secret@", false, false, 0, {}},
      {"me:wrong@", true, false, 0, {"prompt FTP Server", "applied"}},
      {"", false, true, 0, {"applied"}},
      {"me:wrong@", false, false, 12015, {"prompt FTP Server"}},
  };
  for (const auto& row : cases) {
    CAPTURE(row.login);
    const Target target;
    target.Write("old");
    target.WritePartial("left over");
    RecordingListener listener;
    Provider provider(&listener);
    provider.asked_url = server.Url("/d/file.bin", row.login);
    provider.answers = row.answers;
    provider.has_saved = row.has_saved;
    CHECK(Download(provider.asked_url, target, &listener, &provider) == row.result);
    Events expected = row.events;
    if (row.result == 0) {
      CHECK(target.Content() == *content);
      const Events events = listener.events();
      CHECK(Events(events.begin(), events.end() - 2) == expected);
      CHECK(events.back() == "complete 1");
      CHECK(listener.progress_calls[0] == 0);
      CHECK(listener.received == content->size());
    } else {
      CHECK(target.Content() == "old");
      CHECK(target.Partial() == "left over");
      expected.push_back("error 0 " + std::to_string(row.result));
      CHECK(listener.events() == expected);
    }
  }
  const std::vector<std::string> commands = server.commands();
  CHECK(std::count(commands.begin(), commands.end(), "TYPE I") >= 3);
  CHECK(std::count(commands.begin(), commands.end(), "PASV") >= 3);
  for (const std::string& command : commands) CHECK_FALSE(command.starts_with("REST"));
}

TEST_CASE("an FTP file that is not there is reported, and the server's words kept") {
  FtpServer server({.content = TestContent(10)});
  const Target target;
  RecordingListener listener;
  download::Downloader downloader(target.folder(), &listener, nullptr);
  const uint32_t result =
      downloader.Start(server.Url("/none.bin"), target.name(), nullptr, true, true, nullptr, false);
  CHECK(result != 0);
  CHECK(downloader.last_error() == result);
  CHECK(listener.events() == Events{"error 0 " + std::to_string(result)});
  // Wine loses the words of a refused file, but not those of the login.
  CHECK(downloader.server_response().find("230 welcome") != std::string::npos);
  CHECK_FALSE(target.HasPartial());
}

TEST_CASE("an old internet library is asked for a listing instead of the size") {
  const BrowserValue version("Version");
  const BrowserValue old_version("IVer");
  old_version.Set("103");
  const auto content = TestContent(70000);
  // The listing names nothing: Wine's library writes a find to a place that is gone.
  FtpServer server({.content = content});
  const Target target;
  RecordingListener listener;
  CHECK(Download(server.Url("/file.bin"), target, &listener) == 0);
  CHECK(target.Content() == *content);
  CHECK(listener.events() == Events{"info 0", "complete 1"});
  const std::vector<std::string> commands = server.commands();
  CHECK(std::any_of(commands.begin(), commands.end(),
                    [](const std::string& command) { return command.starts_with("LIST"); }));
}

TEST_CASE("an FTP file that ends short is kept as a partial file") {
  const auto content = TestContent(120000);
  FtpServer server({.content = content, .end_after = 70000});
  const Target target;
  target.Write("old");
  RecordingListener listener;
  const uint32_t result = Download(server.Url("/file.bin"), target, &listener);
  // Wine's library knows no sizes on FTP, so there every end is the end of the file.
  const bool knows_size = listener.events().at(0) != "info 0";
  CHECK(result == (knows_size ? download::kEndedShort : 0));
  CHECK((knows_size ? target.Partial() : target.Content()) == content->substr(0, 70000));
}
