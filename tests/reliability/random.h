#ifndef TESTS_RELIABILITY_RANDOM_H_
#define TESTS_RELIABILITY_RANDOM_H_

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace test {

// Numbers that look random and are the same on every machine for the same start.
class Random {
 public:
  explicit Random(uint64_t start) : state_(start) {}

  uint64_t Next();
  // 0 to count - 1; 0 for a count of 0.
  size_t Below(size_t count) { return count == 0 ? 0 : static_cast<size_t>(Next() % count); }
  // Both ends count.
  size_t Between(size_t low, size_t high) { return low + Below(high - low + 1); }
  bool Chance(unsigned percent) { return Below(100) < percent; }

  template <typename Item>
  Item Pick(std::initializer_list<Item> items) {
    return items.begin()[Below(items.size())];
  }

  std::string Bytes(size_t count);
  // Some pieces of words.txt and any characters between them; sometimes very long. Never a null
  // character.
  std::wstring Text();
  // A decimal number, as likely as not out of range or not quite a number.
  std::wstring Number();

  // One word of a list of words.txt, filled in. Where there is no list "kind 3", "kind" is it.
  std::wstring Word(const std::wstring& list);
  // What {name} stands for in words from now on.
  void Define(const std::wstring& name, const std::wstring& text) { defined_[name] = text; }
  // The text with all that stands in braces filled in.
  std::wstring Fill(std::wstring text);

 private:
  std::wstring Value(const std::wstring& name);

  uint64_t state_;
  std::map<std::wstring, std::wstring> defined_;
};

}  // namespace test

#endif  // TESTS_RELIABILITY_RANDOM_H_
