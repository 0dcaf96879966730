#include "command_line.h"

#include <doctest.h>

#include "util/text.h"

using setup::ExtractRequest;
using Groups = std::vector<int32_t>;

TEST_CASE("the library's arguments are understood as it writes them") {
  const struct {
    const wchar_t* arguments;
    Groups groups;
    const wchar_t* folder;
    const char* callback;
    bool is_understood = true;
  } cases[] = {
      {L"/groupsextract:101;104; /out:\"C:\\a b\" /callbackid:2380",
       {101, 104},
       L"C:\\a b",
       "2380"},
      {L"/groupsextract:101; /out:\"C:\\a b\\\" /callbackid:1", {101}, L"C:\\a b\\", "1"},
      {L"/GroupsExtract:-5;2147483647 /OUT:C:\\a  /CallBackId:1", {-5, 2147483647}, L"C:\\a", "1"},
      {L"/groupsextract:7; \"/out:C:\\a b\"", {7}, L"C:\\a b", ""},
      // Whoever listens is told of the end in any case.
      {L"/groupsextract:7; /out:\"\" /callbackid:12", {7}, L"", "12", false},
      {L"/groupsextract:; /out:C:\\a /callbackid:12", {}, L"C:\\a", "12", false},
      {L"/groupsextract:1x; /out:C:\\a /callbackid:12", {}, L"C:\\a", "12", false},
      {L"/groupsextract:-; /out:C:\\a /callbackid:12", {}, L"C:\\a", "12", false},
      {L"/groupsextract:7; /other /out:C:\\a /callbackid:12", {7}, L"C:\\a", "12", false},
      {L"/groupsextract:7; /out:\"C:\\a /callbackid:12", {7}, L"C:\\a /callbackid:12", ""},
      // A pipe elsewhere is none.
      {L"/groupsextract:7; /out:C:\\a /callbackid:1\\..\\x", {7}, L"C:\\a", "", false},
      {L"/groupsextract:7; /out:C:\\a /callbackid:", {7}, L"C:\\a", "", false},
  };
  for (const auto& one : cases) {
    CAPTURE(util::ToAnsi(one.arguments));
    const auto request = setup::ReadExtractRequest(one.arguments);
    REQUIRE(request);
    CHECK(request->groups == one.groups);
    CHECK(request->folder == one.folder);
    CHECK(request->callback_id == one.callback);
    CHECK(request->is_understood == one.is_understood);
  }
  for (const wchar_t* other : {L"", L"/qn", L"/qn /groupsextract:1;", L"groupsextract:1;"}) {
    CHECK_FALSE(setup::ReadExtractRequest(other));
  }
}

TEST_CASE("the user's arguments go on unchanged") {
  const struct {
    const wchar_t* line;
    const wchar_t* arguments;
    bool is_silent = false;
  } cases[] = {
      {L"", L""},
      {L"setup.exe", L""},
      {L"\"C:\\a b\\setup.exe\"", L""},
      {L"\"C:\\a b\\setup.exe\"  /qn A=\"b  \"\"c\"\" d\" ", L"/qn A=\"b  \"\"c\"\" d\" ", true},
      {L"setup.exe\t/l*v \"a log\" /QUIET", L"/l*v \"a log\" /QUIET", true},
      {L"setup.exe -qb! X=1", L"-qb! X=1", true},
      {L"setup.exe /passive", L"/passive", true},
      {L"setup.exe /qr", L"/qr"},
      {L"setup.exe /qf A=\"/qn\"", L"/qf A=\"/qn\""},
      {L"setup.exe A=\"x /qn y\"", L"A=\"x /qn y\""},
  };
  for (const auto& one : cases) {
    CAPTURE(util::ToAnsi(one.line));
    const std::wstring arguments(setup::SkipProgramName(one.line));
    CHECK(arguments == one.arguments);
    CHECK(setup::IsSilent(arguments) == one.is_silent);
  }
  CHECK(setup::InstallArguments(L"C:\\a b\\p.msi", L"C:\\s.exe", L"C:\\a b\\x", L"/qn A=\" b\"") ==
        L"/i \"C:\\a b\\p.msi\" QX_SETUPEXEPATH=\"C:\\s.exe\" QX_EXTRACT_DIR=\"C:\\a b\\x\" /qn "
        L"A=\" b\"");
}
