#ifndef TESTS_SUPPORT_DATA_ROWS_H_
#define TESTS_SUPPORT_DATA_ROWS_H_

#include <string>
#include <vector>

namespace test {

// One case of a data file.
struct DataRow {
  int line = 0;
  std::vector<std::wstring> cells;

  // Empty beyond the last cell.
  [[nodiscard]] const std::wstring& operator[](size_t cell) const;
  [[nodiscard]] std::string Ansi(size_t cell) const;
  [[nodiscard]] int Number(size_t cell) const;
  // A cell that reads "yes".
  [[nodiscard]] bool Yes(size_t cell) const { return (*this)[cell] == L"yes"; }
};

// The rows of `tests/<file>`, which is UTF-8: one case a line, cells between "|", blanks around a
// cell left out. A line that begins with "#" and an empty one are no case. In a cell "\n", "\r",
// "\t" and "\s" (a blank that counts) stand for themselves, "\xHHHH" for the character of that
// number, "\p" for a bar and "\\" for a backslash. "*text*12" is `text` twelve times. The test
// fails when the file is not there or has no row.
std::vector<DataRow> ReadDataRows(const char* file);

// The lines of `tests/<file>` that are not empty and do not begin with "#", without blanks around
// them.
struct DataLine {
  int line = 0;
  std::wstring text;
};
std::vector<DataLine> ReadDataLines(const char* file);

// For what a failed test prints: the ANSI code page does not have every letter.
std::string ToUtf8(const std::wstring& text);

}  // namespace test

#endif  // TESTS_SUPPORT_DATA_ROWS_H_
