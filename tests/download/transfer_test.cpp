#include <doctest.h>

#include <memory>

#include "download/browser_value.h"
#include "download/recording_listener.h"
#include "support/data_rows.h"
#include "support/download_rig.h"
#include "support/fault_server.h"

using namespace test;
using download::Downloader;

namespace {

std::string Code(uint32_t code) {
  char text[16];
  ::wsprintfA(text, code < 0xE0000000 ? "%u" : "%X", code);
  return text;
}

// The length of a piece of what the server makes up, another content by its words.
std::string Describe(bool exists, const std::string& content) {
  if (!exists) return "-";
  if (content == "old") return content;
  if (content == "<p>not the file</p>") return "page";
  return content == ServedContent(content.size()) ? std::to_string(content.size()) : "other";
}

// What a row asks for beside its address.
struct How {
  explicit How(const std::string& words) : text(" " + words + " ") {}
  bool Has(const std::string& word) const {
    return text.find(" " + word + " ") != text.npos || text.find(" " + word + "=") != text.npos;
  }
  std::string Value(const std::string& word, const std::string& otherwise = {}) const {
    const size_t at = text.find(" " + word + "=");
    if (at == text.npos) return otherwise;
    const size_t begin = at + word.size() + 2;
    return text.substr(begin, text.find(' ', begin) - begin);
  }
  uint32_t Number(const std::string& word, uint32_t otherwise) const {
    const std::string value = Value(word);
    return value.empty() ? otherwise : static_cast<uint32_t>(std::stoul(value));
  }
  std::string text;
};

// A transfer of a row: "result | asked | calls | file | partial file".
std::string Run(const std::string& way, const std::string& address, const How& how) {
  const FaultServer server;
  const Target target(how.Value("name", "setup.exe"));
  if (!how.Has("none")) target.Write("old");
  const uint32_t part = how.Number("part", 0);
  if (part != 0) target.WritePartial(ServedContent(part));
  const util::UniqueFile holder(how.Has("held") ? ::CreateFileA((target.path() + ".part").c_str(),
                                                                GENERIC_READ, FILE_SHARE_READ,
                                                                nullptr, OPEN_EXISTING, 0, nullptr)
                                                : INVALID_HANDLE_VALUE);
  std::unique_ptr<BrowserValue> version, old_version;
  if (const std::string text = how.Value("browser"); !text.empty()) {
    version = std::make_unique<BrowserValue>("Version");
    old_version = std::make_unique<BrowserValue>("IVer");
    old_version->Set(text.c_str());
  }
  RecordingListener listener;
  listener.cancel_after = how.Number("cancel", ~0u);
  listener.cancel_at_info = how.Has("cancel-at-info");
  listener.cancel_at_ask = static_cast<int>(how.Number("cancel-at-ask", 0));
  listener.saved_password = how.Value("saved");
  listener.password_at_prompt = how.Value("answer");
  const bool provides = how.Has("provider") || !listener.saved_password.empty() ||
                        !listener.password_at_prompt.empty();
  Downloader downloader(target.folder(), &listener, provides ? &listener : nullptr);
  if (how.Has("retries")) downloader.SetRetries(std::stoi(how.Value("retries")));
  const std::string port = FaultServer::Ask("open");
  std::string url = way == "url" ? address : server.Url(address, "setup.exe", port);
  if (way.starts_with("ftp")) url = server.FtpUrl(address, way.substr(3));
  if (way == "proxy") {
    url.replace(0, url.find('/', 7), "http://elsewhere.example");
    downloader.SetProxy("127.0.0.1:" + port);
  }
  const uint32_t result = downloader.Start(url, target.name(), nullptr, !how.Has("fresh"),
                                           /*wait=*/true, nullptr, false);
  CHECK(downloader.last_error() == result);
  CHECK((listener.asked_url.empty() || listener.asked_url == url));
  CHECK(listener.largest_chunk <= 51200);
  const std::string file = target.Content();
  const std::string partial = target.Partial();
  if (listener.progress_calls != 0)
    CHECK(listener.received == (target.HasPartial() ? partial : file).size());
  return Code(result) + " | " + server.Asked() + " | " + listener.Trace() + " | " +
         Describe(target.Has(), file) + " | " + Describe(target.HasPartial(), partial);
}

}  // namespace

TEST_CASE("a transfer ends in the exact file or in a code, and nothing is lost") {
  for (const DataRow& row : ReadDataRows("download/transfers.txt")) {
    CAPTURE(row.line);
    std::string expected = row.Ansi(3);
    for (size_t cell = 4; cell <= 7; ++cell) expected += " | " + row.Ansi(cell);
    CHECK(Run(row.Ansi(0), row.Ansi(1), How(row.Ansi(2))) == expected);
  }
}

TEST_CASE("a server proposes a name, by the first header that has one") {
  for (const DataRow& row : ReadDataRows("download/proposed_names.txt")) {
    CAPTURE(row.line);
    const FaultServer server;
    Downloader downloader(nullptr, nullptr);
    std::string name = "before";
    CHECK(Code(downloader.ResolveFileName(server.Url(row.Ansi(0), "x"), &name)) == row.Ansi(1));
    CHECK(name == row.Ansi(2));
    REQUIRE(server.Log().size() == 1);  // A redirect is not followed.
    CHECK(server.Log().front().starts_with("HEAD"));
  }
  std::string name = "before";
  CHECK(Downloader(nullptr, nullptr).ResolveFileName("ftp://127.0.0.1/x", &name) == 0);
  CHECK(name == "before");
}

TEST_CASE("a request says what it has to, and the last modification is read") {
  const FaultServer server;
  const Target target;
  target.WritePartial("b");
  Downloader downloader(target.folder(), nullptr, nullptr);
  const std::string dated =
      "body=body&header=Last-Modified:~20Tue,~2015~20Nov~201994~2012:45:26~20GMT";
  CHECK(downloader.Start(server.Url(dated, "x?a=1"), "setup.exe", nullptr, true, true,
                         "X-One: 1\r\nX-Two: 2\r\n", true) == 0);
  CHECK(target.Content() == "body");
  const std::string head = server.Heads();
  for (const char* line : {"GET /", "/x?a=1 HTTP/1.0\r\n", "\r\nUser-Agent: Quorix\r\n",
                           "\r\nAccept: */*\r\n", "\r\nX-One: 1\r\n", "\r\nX-Two: 2\r\n"}) {
    CAPTURE(std::string(line));
    CHECK(head.find(line) != head.npos);
  }
  SYSTEMTIME time = {};
  downloader.GetLastModified(&time);
  CHECK(std::pair(time.wYear, time.wSecond) == std::pair<WORD, WORD>(1994, 26));
  // Started again, the same object forgets it.
  CHECK(downloader.Start(server.Url("ok"), "setup.exe", nullptr, true, true, nullptr, true) == 0);
  downloader.GetLastModified(&time);
  CHECK(time.wYear == 0);
}

TEST_CASE("the words of an FTP server are kept") {
  // Wine loses those of a refused file, but not those of the login.
  const Target target;
  Downloader downloader(target.folder(), nullptr, nullptr);
  CHECK(downloader.Start(FaultServer().FtpUrl("missing"), "x", nullptr, true, true, nullptr,
                         false) != 0);
  CHECK(downloader.server_response().find("230 welcome") != std::string::npos);
}

TEST_CASE("a probe says whether the server has the file, a reach whether there is a server") {
  const FaultServer server;
  CHECK(Downloader::ProbeUrl(server.Url("ok")));
  CHECK(server.Log().front().starts_with("HEAD"));
  CHECK_FALSE(Downloader::ProbeUrl(server.Url("status=404")));
  CHECK_FALSE(Downloader::ProbeUrl("mailto:a@b"));
  CHECK(Downloader::IsReachable(server.Url("ok")));
  CHECK_FALSE(Downloader::IsReachable("http://127.0.0.1:" + FaultServer::Ask("closed") + "/"));
}
