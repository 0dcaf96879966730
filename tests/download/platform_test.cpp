// What WinINet answers on Windows and Wine does not, or the other way round, through a
// table of functions that answers so.

#include <doctest.h>

#include <utility>

#include "download/recording_listener.h"
#include "download/wininet.h"
#include "support/download_rig.h"
#include "support/fault_server.h"
#include "support/worker.h"

using namespace test;
using download::Downloader;

namespace {

// What the replaced functions do, and what they were asked.
struct Script {
  download::WinInet real = {};
  DWORD send_error = 0;         // Of the first send; 0 sends.
  bool answers_status = false;  // A status of 0 after it, as Wine does.
  bool has_length = true;
  DWORD dialog_answer = 0;
  DWORD lie = 0;  // That many bytes too many are said to be read.
  int sends = 0;
  DWORD flags = 0;
  DWORD dialog_error = 0;
};
Script g_script;

HINTERNET WINAPI OpenRequest(HINTERNET connection, LPCSTR verb, LPCSTR object, LPCSTR version,
                             LPCSTR referrer, LPCSTR* accepted, DWORD flags, DWORD_PTR context) {
  g_script.flags = flags;
  return g_script.real.HttpOpenRequestA(connection, verb, object, version, referrer, accepted,
                                        flags, context);
}

BOOL WINAPI Send(HINTERNET request, LPCSTR headers, DWORD length, LPVOID body, DWORD body_length) {
  ++g_script.sends;
  if (g_script.send_error == 0 || g_script.sends > 1) {
    return g_script.real.HttpSendRequestA(request, headers, length, body, body_length);
  }
  ::SetLastError(g_script.send_error);
  return FALSE;
}

BOOL WINAPI QueryInfo(HINTERNET request, DWORD what, LPVOID buffer, LPDWORD size, LPDWORD index) {
  const bool failed = g_script.send_error != 0 && g_script.sends == 1;
  const DWORD header = what & 0xFFFF;
  if (failed && header == HTTP_QUERY_STATUS_CODE && g_script.answers_status) {
    *static_cast<DWORD*>(buffer) = 0;
    return TRUE;
  }
  if (failed || (header == HTTP_QUERY_CONTENT_LENGTH && !g_script.has_length)) {
    ::SetLastError(failed ? ERROR_INTERNET_INCORRECT_HANDLE_STATE : ERROR_INTERNET_INTERNAL_ERROR);
    return FALSE;
  }
  return g_script.real.HttpQueryInfoA(request, what, buffer, size, index);
}

DWORD WINAPI ErrorDialog(HWND, HINTERNET, DWORD error, DWORD, LPVOID*) {
  g_script.dialog_error = error;
  return g_script.dialog_answer;
}

BOOL WINAPI Read(HINTERNET file, LPVOID buffer, DWORD wanted, LPDWORD count) {
  const BOOL read = g_script.real.InternetReadFile(file, buffer, wanted, count);
  if (read) *count += g_script.lie;
  return read;
}

// The table with these functions in the place of the library's, for the length of a test.
class ReplacedInternet {
 public:
  ReplacedInternet() : table_(*download::LoadWinInet()) {
    g_script = {};
    g_script.real = table_;
    table_.HttpOpenRequestA = &OpenRequest;
    table_.HttpSendRequestA = &Send;
    table_.HttpQueryInfoA = &QueryInfo;
    table_.InternetErrorDlg = &ErrorDialog;
    table_.InternetReadFile = &Read;
    before_ = download::ReplaceInternet(&table_);
  }
  ReplacedInternet(const ReplacedInternet&) = delete;
  ReplacedInternet& operator=(const ReplacedInternet&) = delete;
  ~ReplacedInternet() { (void)download::ReplaceInternet(before_); }

 private:
  download::WinInet table_;
  const download::WinInet* before_;
};

}  // namespace

TEST_CASE("a request lets redirects change the scheme, and no certificate pass unseen") {
  const ReplacedInternet replaced;
  const FaultServer server;
  const Target target;
  CHECK(Download(server.Url("ok"), target) == 0);
  CHECK(g_script.flags == 0x8440C000);
}

TEST_CASE("a refused certificate asks the user, whatever the library says of a status") {
  for (const bool answers_status : {false, true}) {
    for (const DWORD error : {12037, 12038, 12044, 12045, 12029}) {
      for (const DWORD answer : {DWORD{ERROR_SUCCESS}, DWORD{ERROR_CANCELLED}}) {
        CAPTURE(answers_status);
        CAPTURE(error);
        CAPTURE(answer);
        const ReplacedInternet replaced;
        g_script.send_error = error;
        g_script.answers_status = answers_status;
        g_script.dialog_answer = answer;
        const FaultServer server;
        const Target target;
        RecordingListener listener;
        Downloader downloader(target.folder(), &listener, nullptr);
        downloader.SetRetries(0);
        const uint32_t result =
            downloader.Start(server.Url("ok"), target.name(), nullptr, true, true, nullptr, false);
        const bool asks = error != ERROR_INTERNET_CANNOT_CONNECT;
        const bool goes_on = asks && answer == ERROR_SUCCESS;
        CHECK(result == (goes_on ? 0 : error));
        CHECK(g_script.sends == (goes_on ? 2 : 1));
        CHECK(g_script.dialog_error == (asks ? error : 0));
        CHECK((listener.Trace().find("state 5, state 4") != std::string::npos) == asks);
      }
    }
  }
}

TEST_CASE("a length that cannot be told ends the transfer, and the part is kept") {
  const ReplacedInternet replaced;
  g_script.has_length = false;
  const FaultServer server;
  const Target target;
  target.WritePartial(ServedContent(500));
  CHECK(Download(server.Url("size=1000"), target) == ERROR_INTERNET_INTERNAL_ERROR);
  CHECK((target.Partial() == ServedContent(500)));
}

TEST_CASE("no more bytes are believed than were asked for") {
  const ReplacedInternet replaced;
  g_script.lie = 4096;
  const FaultServer server;
  const Target target;
  RecordingListener listener;
  CHECK(Download(server.Url("size=60000"), target, &listener) == 0);
  CHECK(listener.received == 60000);
}

TEST_CASE("a target that somebody holds for a moment is replaced all the same") {
  const FaultServer server;
  const Target target;
  target.Write("old");
  util::UniqueFile held(::CreateFileA(target.path().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
  REQUIRE(held);
  RecordingListener listener;
  const Worker scanner([&] {
    while (listener.received != 1000) ::Sleep(1);
    ::Sleep(300);
    held.Reset();
  });
  CHECK(Download(server.Url("size=1000"), target, &listener) == 0);
  CHECK((target.Content() == ServedContent(1000)));
  CHECK_FALSE(target.HasPartial());
}
