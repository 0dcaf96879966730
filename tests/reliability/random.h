#ifndef TESTS_RELIABILITY_RANDOM_H_
#define TESTS_RELIABILITY_RANDOM_H_

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
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
  template <typename Item>
  const Item& Pick(const std::vector<Item>& items) {
    return items[Below(items.size())];
  }

  std::string Bytes(size_t count);
  // What a package author, a server or a stranger might write into a field: words, marks of every
  // syntax around, letters beyond the code page, halves of pairs, control characters; sometimes
  // very long. Never a null character.
  std::wstring Text();
  // A decimal number, as likely as not out of range or not quite a number.
  std::wstring Number();
  // `text` with a few letters put in, left out or swapped.
  std::wstring Mangled(std::wstring text);

 private:
  uint64_t state_;
};

}  // namespace test

#endif  // TESTS_RELIABILITY_RANDOM_H_
