#ifndef TESTS_RELIABILITY_RANDOM_TABLE_H_
#define TESTS_RELIABILITY_RANDOM_TABLE_H_

#include <map>
#include <string>
#include <vector>

#include "reliability/random.h"
#include "support/test_package.h"

namespace test {

// The cells of one row by their columns; a column that is not named is null.
using RandomRow = std::map<std::wstring, std::wstring>;

// A table of tables.txt, made in a package in the place of one that is there.
class RandomTable {
 public:
  RandomTable(TestPackage* package, Random* random, const std::wstring& table, size_t keys);

  // False for one table in ten, which lacks a column.
  [[nodiscard]] bool is_whole() const { return is_whole_; }

  // A row from one with a slip of the pen to one that is nothing but noise.
  [[nodiscard]] RandomRow MakeRow();
  // Puts a row in, whatever its cells hold. Cells of a numeric column are decimal texts; one that
  // does not fit the column is left null. False when the installer does not take the row, as for a
  // key that is there already.
  [[nodiscard]] bool Insert(const RandomRow& row) const;

 private:
  struct Column {
    std::wstring name;
    std::wstring type;
    std::wstring usual;  // Lists of words.
    std::wstring unusual;
  };

  TestPackage* package_;
  Random* random_;
  std::wstring table_;
  std::vector<Column> columns_;
  bool is_whole_;
};

}  // namespace test

#endif  // TESTS_RELIABILITY_RANDOM_TABLE_H_
