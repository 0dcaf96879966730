#include <doctest.h>

#include <windows.h>
#include <wininet.h>

#include <sstream>

#include "download/recording_listener.h"
#include "support/download_rig.h"
#include "support/worker.h"

// Against nginx and vsftpd, which scripts/start_servers.sh starts.
using namespace test;

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

// Presses a button of the first dialog of this process, once, as long as it lives.
class DialogHelper {
 public:
  explicit DialogHelper(WORD button) : button_(button) {}
  ~DialogHelper() {
    stop_ = true;
    worker_.Join();
    CHECK(pressed_);
  }

 private:
  void Press() {
    for (; !stop_ && !pressed_; ::Sleep(10)) {  // There is no event for a new dialog.
      const HWND dialog = ::FindWindowA("#32770", nullptr);
      DWORD process = 0;
      if (dialog != nullptr) ::GetWindowThreadProcessId(dialog, &process);
      if (process != ::GetCurrentProcessId() || !::GetDlgItem(dialog, button_)) continue;
      ::PostMessageA(dialog, WM_COMMAND, button_, 0);
      pressed_ = true;
    }
  }

  WORD button_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> pressed_{false};
  Worker worker_{[this] { Press(); }};
};

}  // namespace

TEST_CASE("logins at nginx and vsftpd: right, wrong and none") {
  const std::string content = ServedFile(L"small.bin");
  struct {
    const char* server;
    const char* path;
    const char* login;
    const char* user;      // Whom the prompt answers for,
    const char* password;  // with what; empty declines.
    uint32_t result;
    const char* prompts;
  } const rows[] = {
      {"http", "/small.bin", "", "", "", 0, ""},
      {"http", "/none.bin", "", "", "", download::kNotFound, ""},
      {"http", "/private/small.bin", "", "me", "", download::kAuthenticationRequired,
       "\"the vault\";"},
      {"http", "/private/small.bin", "", "me", "wrong", download::kAuthenticationRequired,
       "\"the vault\";\"the vault\";"},
      // Last of its server: the library remembers it for the process.
      {"http", "/private/small.bin", "", "me", "secret", 0, "\"the vault\";"},
      {"ftp", "/small.bin", "", "", "", 0, ""},
      {"ftp", "/none.bin", "", "", "", ERROR_INTERNET_EXTENDED_ERROR, ""},
      {"ftp_login", "/small.bin", "ftp:secret@", "", "", 0, ""},
      {"ftp_login", "/small.bin", "ftp:bad@", "ftp", "secret", 0, "FTP Server;"},
      {"ftp_login", "/small.bin", "ftp:bad@", "ftp", "wrong", ERROR_INTERNET_LOGIN_FAILURE,
       "FTP Server;FTP Server;"},
  };
  for (const auto& row : rows) {
    CAPTURE(std::string(row.path));
    CAPTURE(std::string(row.password));
    const Target target;
    RecordingListener listener;
    listener.user_at_prompt = row.user;
    listener.password_at_prompt = row.password;
    const std::string scheme = std::string(row.server).substr(0, row.server[0] == 'h' ? 4 : 3);
    CHECK(Download(Url(scheme, row.server, row.path, row.login), target, &listener, &listener) ==
          row.result);
    std::string prompts;
    for (const std::string& event : listener.events()) {
      if (event.starts_with("prompt ")) prompts += event.substr(7) + ";";
    }
    CHECK(prompts == row.prompts);
    CHECK((target.Content() == (row.result == 0 ? content : "")));
  }
}

TEST_CASE("nginx over TLS: the user decides about a certificate that nobody trusts") {
  const std::string content = ServedFile(L"small.bin");
  struct {
    WORD button;
    uint32_t result;
    const char* trace;
  } const rows[] = {
      {IDCANCEL, 12045, "state 1, state 5, state 4, error 0 12045"},
      {IDOK, 0, "state 1, state 5, state 4, info 100000, from 0, complete 1"},
  };
  for (const auto& row : rows) {
    CAPTURE(row.button);
    const Target target;
    RecordingListener listener;
    {
      const DialogHelper helper(row.button);
      CHECK(Download(Url("https", "https", "/small.bin"), target, &listener) == row.result);
    }
    CHECK((target.Content() == (row.result == 0 ? content : "")));
    CHECK(listener.Trace() == row.trace);
  }
}
