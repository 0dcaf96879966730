#include "appsearch/value_comparison.h"

#include <doctest.h>

#include <string>

#include "util/ansi_text.h"

TEST_CASE("the first letter of a reference says how a value is compared") {
  struct Case {
    std::string value;
    std::string reference;
    bool matches;
  };
  const Case cases[] = {
      {"anything", "", true},
      {"", "", true},
      {"Pro", "=Pro", true},
      {"Pro", "=pro", false},
      {"1.0", "=1.0.0", false},
      {"", "=", true},
      {"Pro", "!Home", true},
      {"Pro", "!Pro", false},
      {"Some Pro 2", "~Pro", true},
      {"Some Pro 2", "~pro", false},
      {"Some", "~", true},
      {"9", "<10", true},
      {"10", "<10", false},
      {"10", ">9", true},
      {"10", ">10", false},
      {"10", "+10", true},
      {"9", "+10", false},
      {"10", "-10", true},
      {"11", "-10", false},
      // Numbers of any size, with or without zeros before them.
      {"4294967295", ">2147483648", true},
      {"18446744073709551616", ">18446744073709551615", true},
      {"007", "+7", true},
      {"000", "-0", true},
      {"0", "<0000", false},
      // Versions, also with something around them.
      {"v1.10", ">1.9", true},
      {"1.2", "+1.2.0.0", true},
      {"1.2.3 beta", "-1.2.3", true},
      {"1.2", "<1.2.0.1", true},
      // What is no number has no order.
      {"none", "<1", false},
      {"none", "+none", false},
      {"1", ">", false},
      // Letters that say nothing.
      {"Pro", "Pro", false},
      {"10", "10", false},
  };
  for (const Case& c : cases) {
    CAPTURE(c.value);
    CAPTURE(c.reference);
    CHECK(appsearch::Compares(c.value, c.reference) == c.matches);
    // What something stands to can be compared with.
    if (c.matches) CHECK(appsearch::CanCompare(c.reference));
  }
  for (const char* reference : {"<beta", ">", "Pro", "10", " =1"}) {
    CAPTURE(reference);
    CHECK_FALSE(appsearch::CanCompare(reference));
  }
}

TEST_CASE("the second half of a letter is not a mark") {
  constexpr UINT kJapanese = 932;
  // "\x95\x5C" is one letter there, and "\x83\x5B" and "\x83\x5D" are two more.
  const std::string text = "C:\\\x95\\x[\x83[\x83]]\\\x95\\";
  CHECK(util::FindMark(text, "[", 0, kJapanese) == 6);
  CHECK(util::FindMark(text, "]", 0, kJapanese) == 11);
  CHECK(util::FindLastMark(text, "\\", kJapanese) == 12);
  CHECK(util::FindLastMark(text, "\\") == text.size() - 1);
  CHECK(util::NextLetter(text, 3, kJapanese) == 5);
  CHECK(util::FindMark("\x95", "\\", 0, kJapanese) == util::kNoMark);
  CHECK(util::FindMark("abc", "c", 7) == util::kNoMark);
}
