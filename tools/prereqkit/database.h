#ifndef PREREQKIT_DATABASE_H_
#define PREREQKIT_DATABASE_H_

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "msi/handles.h"

namespace kit {

// Columns with the text of their cell. A number stands as decimal text, an empty text is a null.
using Cells = std::vector<std::pair<std::wstring, std::wstring>>;

struct Column {
  std::wstring name;
  std::wstring type;  // As the installer writes it: "s72", "I2".
  bool is_key = false;

  [[nodiscard]] bool IsNumber() const { return type[0] == L'i' || type[0] == L'I'; }
  [[nodiscard]] bool IsStream() const { return type[0] == L'v' || type[0] == L'V'; }
};

// A whole table in memory. Cells of streams are empty.
struct Table {
  std::vector<Column> columns;
  std::vector<std::vector<std::wstring>> rows;

  // The position of a column, or the number of columns when there is none of that name.
  [[nodiscard]] size_t IndexOf(const std::wstring& column) const;
  // Empty when there is no such column.
  [[nodiscard]] std::wstring Get(size_t row, const std::wstring& column) const;
  [[nodiscard]] Cells KeyOf(size_t row) const;
};

// An installation database that is written by statements alone. The first statement that fails is
// kept in failure(), and every later one does nothing: whoever writes looks once, before Commit().
class Database {
 public:
  Database() = default;

  // A system error code when the file is no database that can be read, or written.
  [[nodiscard]] UINT Open(const std::wstring& path, bool is_written);

  [[nodiscard]] bool HasTable(const std::wstring& table) const;
  // Without columns and rows when there is no such table.
  [[nodiscard]] Table Read(const std::wstring& table) const;
  // The rows whose key cells have these texts: one or none.
  [[nodiscard]] Table Find(const std::wstring& table, const Cells& key) const;
  [[nodiscard]] bool Has(const std::wstring& table, const Cells& key) const {
    return !Find(table, key).rows.empty();
  }
  [[nodiscard]] std::wstring Property(const std::wstring& name) const;
  // The stream of a row of `Binary`; empty when there is none.
  [[nodiscard]] std::vector<unsigned char> Stream(const std::wstring& name) const;

  // A table of these columns and keys.
  void Create(const std::wstring& table, const std::vector<Column>& columns);
  void Drop(const std::wstring& table);
  // A cell of a stream holds the path of the file to read it from.
  void Insert(const std::wstring& table, const Cells& cells);
  void Update(const std::wstring& table, const Cells& key, const Cells& cells);
  void Delete(const std::wstring& table, const Cells& key);
  // Of the summary information.
  void SetPackageCode(const std::wstring& code);

  // The code page of all texts; 0 is a neutral one, which holds ASCII alone.
  [[nodiscard]] UINT CodePage() const;
  [[nodiscard]] bool CanHold(const std::wstring& text) const;

  [[nodiscard]] const std::wstring& failure() const { return failure_; }
  void Fail(std::wstring reason);
  // Writes all to disk and closes the database.
  void Commit();

 private:
  void Run(const std::wstring& sql, const std::vector<Column>& columns, const Cells& values);
  [[nodiscard]] Table Select(const std::wstring& sql, const std::vector<Column>& key_columns,
                             const Cells& key) const;
  [[nodiscard]] std::vector<Column> ColumnsOf(const std::wstring& table) const;

  msi::UniqueMsiHandle database_;
  UINT code_page_ = 0;
  std::wstring failure_;
};

}  // namespace kit

#endif  // PREREQKIT_DATABASE_H_
