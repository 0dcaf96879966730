#include <doctest.h>

#include "download/async_link.h"
#include "download/browser_value.h"
#include "download/browser_version.h"
#include "download/header_fields.h"
#include "download/url.h"
#include "download/wininet.h"
#include "support/data_rows.h"

using namespace download;
using test::BrowserValue;
using test::DataRow;

namespace {

std::string Text(const std::optional<uint64_t>& number) {
  return number ? std::to_string(*number) : "none";
}

std::string Text(const UrlParts& parts) {
  return std::to_string(parts.scheme) + " " + parts.host + " " + std::to_string(parts.port) + " " +
         parts.user + " " + parts.password + " " + parts.path + " " + parts.extra;
}

std::string Version() {
  uint32_t major = 77;
  uint32_t minor = 77;
  const bool known = GetBrowserVersion(&major, &minor);
  CHECK(known == (major != 77));
  return known ? std::to_string(major) + "." + std::to_string(minor) : "none";
}

std::string Apply(const std::string& rule, const std::string& text) {
  UrlParts parts;
  if (rule == "split") return SplitUrl(text, &parts) == 0 ? Text(parts) : "none";
  if (rule == "realm") return RealmOf(text);
  if (rule == "disposition") return NameFromDisposition(text);
  if (rule == "location") return NameFromLocation(text);
  if (rule == "start") return Text(StartOfRange(text));
  if (rule == "total") return Text(TotalOfRange(text));
  const BrowserValue version("Version");
  const BrowserValue old_version("IVer");
  if (rule == "IVer") old_version.Set(text.c_str());
  if (rule == "Version") version.Set(text.c_str());
  if (rule == "both") {
    old_version.Set("103");
    version.Set(text.c_str());
  }
  return Version();
}

// Handles of the tests; nothing is ever done with them.
HINTERNET Handle(int number) { return reinterpret_cast<HINTERNET>(0x1000 + 4 * number); }

void Close(AsyncLink* link, HINTERNET handle) {
  AsyncLink::OnStatus(handle, reinterpret_cast<DWORD_PTR>(link), INTERNET_STATUS_HANDLE_CLOSING,
                      &handle, sizeof(handle));
}

}  // namespace

TEST_CASE("the local name comes from the request, else from the URL") {
  REQUIRE(LoadWinInet() != nullptr);
  for (const DataRow& row : test::ReadDataRows("download/local_names.txt")) {
    CAPTURE(row.line);
    CHECK(LocalPath(row.Ansi(0), row.Ansi(1), row.Ansi(2)) == row.Ansi(3));
  }
}

TEST_CASE("URLs, headers and versions are taken apart") {
  REQUIRE(LoadWinInet() != nullptr);
  for (const DataRow& row : test::ReadDataRows("download/fields.txt")) {
    CAPTURE(row.line);
    CHECK(Apply(row.Ansi(0), row.Ansi(1)) == row.Ansi(2));
  }
  const std::string path = "/" + std::string(500, 'p');
  UrlParts parts;
  REQUIRE(SplitUrl("http://host" + path, &parts) == 0);
  CHECK(parts.path == path);
}

TEST_CASE("an event's name never gets longer than a path may be") {
  CHECK(EventName("C:\\a\\b.dll", "_ev2") == "C:_a_b.dll_ev2");
  for (const size_t length : {250u, 255u, 256u, 258u, 260u}) {
    CAPTURE(length);
    const std::string name = EventName("C:\\" + std::string(length - 3, 'd'), "_ev1");
    CHECK(name.size() == (length < 256 ? length + 4 : length));
    CHECK(name.ends_with("_ev1"));
    CHECK(name.starts_with("C:_ddd"));
  }
}

TEST_CASE("nobody takes a link for done with while a handle that knows it is open") {
  for (int opened = 0; opened <= 9; ++opened) {
    for (int closed = 0; closed <= opened; ++closed) {
      CAPTURE(opened);
      CAPTURE(closed);
      TransferState state;
      auto* const link = new AsyncLink(&state);
      for (int i = 0; i < opened; ++i) {
        link->Hold(Handle(i));
        link->Hold(Handle(i));  // Told twice, by the call and by the library.
      }
      for (int i = 0; i < closed; ++i) Close(link, Handle(i));
      // A ninth is never known to have closed.
      CHECK(link->Detach(/*wait=*/false) == (closed == opened && opened <= 8));
      for (int i = closed; i < opened && opened <= 8; ++i) Close(link, Handle(i));
    }
  }
}
