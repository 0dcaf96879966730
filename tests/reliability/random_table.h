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

struct RandomColumn {
  const wchar_t* name;
  const wchar_t* type;  // In the installer's SQL, such as "CHAR(255)" or "SHORT".
};

// Makes the table anew with these columns; the first `keys` are its key.
void MakeTable(TestPackage* package, const std::wstring& table,
               const std::vector<RandomColumn>& columns, size_t keys);

// Puts a row in, whatever its cells hold. Cells of a numeric column are decimal texts; one that
// does not fit the column is left null. False when the installer does not take the row, as for a
// key that is there already.
bool InsertRow(const TestPackage& package, const std::wstring& table,
               const std::vector<RandomColumn>& columns, const RandomRow& row);

}  // namespace test

#endif  // TESTS_RELIABILITY_RANDOM_TABLE_H_
