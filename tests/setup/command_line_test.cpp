#include "command_line.h"

#include <doctest.h>

#include "support/data_rows.h"
#include "util/text.h"

TEST_CASE("the library's arguments are understood, the user's go on unchanged") {
  for (const test::DataRow& row : test::ReadDataRows("setup/command_lines.txt")) {
    CAPTURE(row.line);
    if (row[0] == L"line") {
      const std::wstring arguments(setup::SkipProgramName(row[1]));
      CHECK(arguments == row[2]);
      CHECK(setup::IsSilent(arguments) == row.Yes(3));
      continue;
    }
    const auto request = setup::ReadExtractRequest(row[1]);
    REQUIRE(request.has_value() == (row[0] == L"extract"));
    if (!request) continue;
    std::wstring groups;
    for (const int32_t group : request->groups) groups += L" " + util::ToSignedDecimal(group);
    CHECK(groups == (row[2].empty() ? L"" : L" " + row[2]));
    CHECK(request->folder == row[3]);
    CHECK(request->callback_id == row.Ansi(4));
    CHECK(request->is_understood == row.Yes(5));
  }
  CHECK(setup::InstallArguments(L"C:\\a b\\p.msi", L"C:\\s.exe", L"C:\\a b\\x", L"/qn A=\" b\"") ==
        L"/i \"C:\\a b\\p.msi\" QX_SETUPEXEPATH=\"C:\\s.exe\" QX_EXTRACT_DIR=\"C:\\a b\\x\" /qn "
        L"A=\" b\"");
}
