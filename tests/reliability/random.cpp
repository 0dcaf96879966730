#include "reliability/random.h"

#include <utility>

namespace test {
namespace {

const wchar_t* const kPieces[] = {
    L"setup",
    L"Setup.exe",
    L" ",
    L"  ",
    L"\"",
    L"'",
    L"''",
    L"`",
    L"[",
    L"]",
    L"[[",
    L"[X]",
    L"[%PATH]",
    L"[#File]",
    L"{",
    L"}",
    L"{{",
    L"%",
    L"%%",
    L"%s%n",
    L"%TEMP%",
    L"!",
    L"\\",
    L"\\\\",
    L"/",
    L":",
    L";",
    L",",
    L"=",
    L"?",
    L"*",
    L"|",
    L"<",
    L">",
    L"&",
    L"~",
    L"+",
    L"-",
    L".",
    L".exe",
    L"\x01",
    L"\t",
    L"\r\n",
    L"\x7F",
    L"\x80",
    L"\u00E4",
    L"\u017C",
    L"\u4E2D",
    L"\u0301",
    L"\u202E",
    L"\uFEFF",
    L"\uFFFD",
    L"\xD83D\xDE00",
    L"\xD83D",
    L"\xDE00",
    L"0",
    L"1",
    L"65535",
    L"NOT",
    L"AND",
    L"(",
    L")",
    L"CON",
    L"NUL",
};
const wchar_t* const kNumbers[] = {
    L"0",
    L"1",
    L"-1",
    L"2147483647",
    L"2147483648",
    L"-2147483648",
    L"4294967295",
    L"4294967296",
    L"9223372036854775807",
    L"18446744073709551616",
    L"-0",
    L"00012",
    L"+7",
    L"1e9",
    L"0x10",
    L" 5",
    L"5 ",
    L"",
    L"99999999999999999999",
    L"1.2.3.4",
};

template <size_t count>
const wchar_t* OneOf(Random* random, const wchar_t* const (&items)[count]) {
  return items[random->Below(count)];
}

}  // namespace

// The splitmix generator: every start, 0 too, gives a good sequence.
uint64_t Random::Next() {
  uint64_t value = state_ += 0x9E3779B97F4A7C15u;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
  return value ^ (value >> 31);
}

std::string Random::Bytes(size_t count) {
  std::string bytes(count, '\0');
  for (size_t i = 0; i < count;) {
    for (uint64_t word = Next(), left = 8; left != 0 && i < count; --left, word >>= 8) {
      bytes[i++] = static_cast<char>(word);
    }
  }
  return bytes;
}

std::wstring Random::Text() {
  std::wstring text;
  const size_t pieces = Chance(10) ? 0 : Between(1, Chance(5) ? 60 : 6);
  for (size_t i = 0; i < pieces; ++i) {
    if (Chance(80)) {
      text += OneOf(this, kPieces);
    } else {
      text += static_cast<wchar_t>(Between(1, 0xFFFF));
    }
  }
  // The lengths around which buffers end.
  if (Chance(5)) {
    text.resize(Pick({63u, 64u, 255u, 256u, 259u, 260u, 1023u, 4096u, 20000u}), L'w');
  }
  return text;
}

std::wstring Random::Number() {
  if (Chance(50)) return OneOf(this, kNumbers);
  std::wstring digits = Chance(20) ? L"-" : L"";
  for (size_t i = Between(1, 12); i != 0; --i) digits += static_cast<wchar_t>(L'0' + Below(10));
  return digits;
}

std::wstring Random::Mangled(std::wstring text) {
  for (size_t i = Between(1, 3); i != 0; --i) {
    const size_t at = Below(text.size() + 1);
    switch (Below(3)) {
      case 0:
        text.insert(at, OneOf(this, kPieces));
        break;
      case 1:
        if (at < text.size()) text.erase(at, Between(1, 4));
        break;
      default:
        if (text.size() > 1) std::swap(text[Below(text.size())], text[Below(text.size())]);
    }
  }
  return text;
}

}  // namespace test
