#include "reliability/random.h"

#include "support/data_rows.h"
#include "support/test_package.h"
#include "util/text.h"

namespace test {
namespace {

using Words = std::vector<std::wstring>;

const Words* FindList(const std::wstring& name) {
  static const std::map<std::wstring, Words> kLists = [] {
    std::map<std::wstring, Words> lists;
    for (const DataRow& row : ReadDataRows("reliability/words.txt")) {
      Words& list = lists[row[0]];
      list.insert(list.end(), row.cells.begin() + 1, row.cells.end());
    }
    return lists;
  }();
  const auto found = kLists.find(name);
  return found != kLists.end() ? &found->second : nullptr;
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
  for (char& byte : bytes) byte = static_cast<char>(Next());
  return bytes;
}

std::wstring Random::Text() {
  static const Words& pieces = *FindList(L"pieces");
  std::wstring text;
  for (size_t i = Chance(10) ? 0 : Between(1, Chance(5) ? 60 : 6); i != 0; --i) {
    if (Chance(80)) {
      text += pieces[Below(pieces.size())];
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
  if (Chance(50)) return Word(L"numbers");
  std::wstring digits = Chance(20) ? L"-" : L"";
  for (size_t i = Between(1, 12); i != 0; --i) digits += static_cast<wchar_t>(L'0' + Below(10));
  return digits;
}

std::wstring Random::Word(const std::wstring& list) {
  const Words* words = FindList(list);
  if (words == nullptr) words = FindList(list.substr(0, list.find(L' ')));
  return Fill((*words)[Below(words->size())]);
}

std::wstring Random::Fill(std::wstring text) {
  for (size_t start = 0; (start = text.find(L'{', start)) != text.npos;) {
    const size_t end = text.find(L'}', start);
    if (end == text.npos) break;
    const std::wstring value = Value(text.substr(start + 1, end - start - 1));
    text.replace(start, end + 1 - start, value);
    start += value.size();
  }
  return text;
}

std::wstring Random::Value(const std::wstring& name) {
  if (const auto found = defined_.find(name); found != defined_.end()) return found->second;
  if (name == L"text") return Text();
  if (name == L"number") return Number();
  if (name == L"near") return util::ToSignedDecimal(static_cast<int32_t>(Next()));
  if (name == L"guid") return NewGuid();
  std::wstring odd = Text();
  std::erase(odd, L'\x01');
  std::erase(odd, L'!');
  for (size_t at; (at = odd.find(L"..")) != odd.npos;) odd.erase(at, 1);
  return odd;
}

}  // namespace test
