#include <doctest.h>

#include <cstdlib>
#include <sstream>

#include "download/recording_listener.h"
#include "support/download_rig.h"

// Against nginx and vsftpd, which scripts/start_servers.sh starts.
using namespace test;
using Events = std::vector<std::string>;

namespace {

std::string ReadServersFile(const std::wstring& name) {
  std::wstring path = PREREQ_SERVERS_DIR L"/" + name;
  for (wchar_t& letter : path) {
    if (letter == L'/') letter = L'\\';
  }
  return ReadWholeFile(path);
}

// A line of the file that describes the servers.
std::string Port(const std::string& name) {
  std::istringstream lines(ReadServersFile(L"ports"));
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(name + "=")) return line.substr(name.size() + 1);
  }
  FAIL("the servers are not running: ", name);
  return {};
}

std::string Url(const std::string& scheme, const std::string& server, const std::string& path,
                const std::string& login = {}) {
  return scheme + "://" + login + "127.0.0.1:" + Port(server) + path;
}

std::string ServedFile(const std::wstring& name) {
  const std::string content = ReadServersFile(L"www/" + name);
  REQUIRE_FALSE(content.empty());
  return content;
}

std::string AccessLog() { return ReadServersFile(L"access.log"); }

class Provider final : public download::CredentialProvider {
 public:
  explicit Provider(std::string password) : password_(std::move(password)) {}
  void OnConnecting() override {}
  bool GetSavedCredentials(std::string*, std::string*) override { return false; }
  void OnCredentialsApplied() override {}
  bool PromptCredentials(const std::string&, const std::string& realm, HWND, std::string* user,
                         std::string* password) override {
    realms.push_back(realm);
    if (password_.empty()) return false;
    *user = realm == "FTP Server" ? "ftp" : "me";
    *password = std::exchange(password_, "");  // A wrong one is not tried twice.
    return true;
  }
  std::vector<std::string> realms;

 private:
  std::string password_;
};

// Presses a button of the first dialog of this process.
class DialogHelper {
 public:
  explicit DialogHelper(WORD button)
      : button_(button), thread_(::CreateThread(nullptr, 0, &Run, this, 0, nullptr)) {}
  DialogHelper(const DialogHelper&) = delete;
  DialogHelper& operator=(const DialogHelper&) = delete;
  // True when there was a dialog. Ends the search.
  bool Finish() {
    stop_ = true;
    ::WaitForSingleObject(thread_.Get(), INFINITE);
    return pressed_;
  }

 private:
  static DWORD WINAPI Run(void* self) {
    auto* const helper = static_cast<DialogHelper*>(self);
    while (!helper->stop_ && !helper->pressed_) {
      const HWND dialog = ::FindWindowA("#32770", nullptr);
      DWORD process = 0;
      if (dialog != nullptr) ::GetWindowThreadProcessId(dialog, &process);
      if (process == ::GetCurrentProcessId() && ::GetDlgItem(dialog, helper->button_) != nullptr) {
        ::PostMessageA(dialog, WM_COMMAND, helper->button_, 0);
        helper->pressed_ = true;
      }
      ::Sleep(10);  // There is no event for a new dialog.
    }
    return 0;
  }

  WORD button_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> pressed_{false};
  util::UniqueKernelHandle thread_;
};

}  // namespace

TEST_CASE("nginx: whole, continued, complete, missing and locked files") {
  const std::string content = ServedFile(L"small.bin");
  const Target whole;
  CHECK(Download(Url("http", "http", "/small.bin"), whole) == 0);
  CHECK((whole.Content() == content));

  for (const size_t partial : {size_t{1}, size_t{60000}, content.size() - 1, content.size()}) {
    CAPTURE(partial);
    const Target target;
    target.WritePartial(content.substr(0, partial));
    RecordingListener listener;
    CHECK(Download(Url("http", "http", "/small.bin"), target, &listener) == 0);
    CHECK((target.Content() == content));
    CHECK(listener.events() == Events{"info 100000", "complete 1"});
    // Of a complete one the server has nothing more to send, so it is fetched again.
    CHECK(listener.progress_calls[0] == (partial < content.size() ? partial : 0));
    CHECK(AccessLog().find("range=\"bytes=" + std::to_string(partial) + "-\"") !=
          std::string::npos);
  }

  const Target missing;
  CHECK(Download(Url("http", "http", "/none.bin"), missing) == download::kNotFound);

  struct {
    const char* password;
    uint32_t result;
    size_t prompts;
  } const logins[] = {
      {"", download::kAuthenticationRequired, 1},
      {"wrong", download::kAuthenticationRequired, 2},
      {"secret", 0, 1},  // Last: the library remembers it for the process.
  };
  for (const auto& row : logins) {
    const Target target;
    Provider provider(row.password);
    CHECK(Download(Url("http", "http", "/private/small.bin"), target, nullptr, &provider) ==
          row.result);
    CHECK(provider.realms == Events(row.prompts, "\"the vault\""));
    CHECK((target.Content() == (row.result == 0 ? content : "")));
  }
}

TEST_CASE("nginx through a relay that drops the connection: continued at the byte") {
  const std::string content = ServedFile(L"big.bin");
  const Target target;
  RecordingListener listener;
  // Each run has a query of its own, because the relay drops every address once.
  CHECK(Download(Url("http", "drop", "/big.bin?") + std::to_string(::GetTickCount()), target,
                 &listener) == 0);
  CHECK((target.Content() == content));
  CHECK(listener.received == content.size());
  const std::string log = AccessLog();
  CHECK(log.substr(log.find("/big.bin")).find("206") != std::string::npos);
}

TEST_CASE("nginx over TLS: the user decides about a certificate that nobody trusts") {
  const std::string content = ServedFile(L"small.bin");
  struct {
    WORD button;
    uint32_t result;
  } const rows[] = {{IDCANCEL, 12045}, {IDOK, 0}};
  for (const auto& row : rows) {
    CAPTURE(row.button);
    const Target target;
    RecordingListener listener;
    DialogHelper helper(row.button);
    CHECK(Download(Url("https", "https", "/small.bin"), target, &listener) == row.result);
    CHECK(helper.Finish());
    CHECK((target.Content() == (row.result == 0 ? content : "")));
    const std::vector<uint32_t> states = listener.states();
    CHECK(std::count(states.begin(), states.end(), 5u) == 1);
    CHECK(std::count(states.begin(), states.end(), 4u) == 1);
    CHECK(listener.events().back() == (row.result == 0 ? "complete 1" : "error 0 12045"));
  }
}

TEST_CASE("vsftpd: anonymous, with a login, with a wrong one, and a file that is not there") {
  const std::string content = ServedFile(L"small.bin");
  const Target anonymous;
  RecordingListener listener;
  CHECK(Download(Url("ftp", "ftp", "/small.bin"), anonymous, &listener) == 0);
  CHECK((anonymous.Content() == content));
  CHECK(listener.received == content.size());

  const Target known;
  CHECK(Download(Url("ftp", "ftp_login", "/small.bin", "ftp:secret@"), known) == 0);
  CHECK((known.Content() == content));

  for (const char* password : {"secret", "wrong"}) {
    const Target target;
    Provider provider(password);
    const uint32_t result =
        Download(Url("ftp", "ftp_login", "/small.bin", "ftp:bad@"), target, nullptr, &provider);
    const bool right = std::string(password) == "secret";
    CHECK((result == 0) == right);
    CHECK(provider.realms == Events(right ? 1 : 2, "FTP Server"));
    CHECK((target.Content() == (right ? content : "")));
  }

  const Target missing;
  CHECK(Download(Url("ftp", "ftp", "/none.bin"), missing) != 0);
  CHECK_FALSE(missing.Has());
}
