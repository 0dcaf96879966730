#include "util/error_text.h"

#include <doctest.h>

#include "util/text.h"

TEST_CASE("an error number reads as the system's or the internet library's text") {
  for (const DWORD code : {2u, 12002u, 12007u}) {
    CAPTURE(code);
    const std::wstring text = util::ErrorText(code);
    CHECK(text.size() > 4);
    CHECK(text.ends_with(L"\r\n"));
    CHECK(text != util::ToDecimal(code));
  }
  CHECK(util::ErrorText(12002) != util::ErrorText(12007));
}

TEST_CASE("a number without a text reads as itself, signed") {
  CHECK(util::ErrorText(12175) == L"12175");
  CHECK(util::ErrorText(0x20000001) == L"536870913");
  CHECK(util::ErrorText(0xE0000018) == L"-536870888");
}
