#ifndef MSI_TABLE_SNAPSHOT_H_
#define MSI_TABLE_SNAPSHOT_H_

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "msi/session.h"

namespace msi {

// One row of a snapshot. Copies are cheap enough to keep and stay valid when the snapshot is gone.
class TableRow {
 public:
  using Columns = std::vector<std::wstring>;

  // `cells` holds a text for every column, in the same order, each with its terminator. A bit of
  // `unread` is set for each column whose cell could not be read; columns from the 32nd on share
  // the last bit.
  TableRow(std::shared_ptr<const Columns> columns, std::wstring_view cells, uint32_t unread = 0);

  // The text of the cell, found by the column's exact name; empty when the row has no such column.
  // A null cell is empty too, and a stream cell reads "{Binary Data}". Of two columns of one name
  // the later answers.
  [[nodiscard]] std::wstring Get(const wchar_t* column) const;

  // False when the cell could not be read: that it reads as empty means nothing then.
  [[nodiscard]] bool WasRead(const wchar_t* column) const;

 private:
  // The column's place; the number of columns when there is none of that name.
  [[nodiscard]] size_t Find(const wchar_t* column) const;

  std::shared_ptr<const Columns> columns_;  // Shared by all rows of a snapshot.
  uint32_t unread_;
  std::wstring cells_;  // In one block: most of a load's time is allocation.
};

// A query on the installer's tables, copied whole into memory. Make one, load it once, iterate.
// Nothing is reported: a query that cannot be run, as on a table that the package does not have,
// gives no rows. Used only on the thread that entered the custom action.
class TableSnapshot {
 public:
  using Names = std::initializer_list<const wchar_t*>;
  using Bytes = std::vector<unsigned char>;
  using const_iterator = std::vector<TableRow>::const_iterator;

  struct Join {
    const wchar_t* table;
    const wchar_t* key_column;
  };

  // Where the streams of a fetch go: to files in `folder`, each named by its row's `Name` cell.
  struct StreamExtractor {
    std::wstring folder;  // Without a backslash at its end.
  };

  static constexpr DWORD kNoSizeLimit = 0xFFFFFFFF;

  // Reads the database of the running package, or one that the snapshot then owns. Without a
  // session or a database every query yields no rows.
  TableSnapshot(const InstallerSession& session, std::wstring table)
      : TableSnapshot(session.OpenDatabase(), std::move(table)) {}
  TableSnapshot(UniqueMsiHandle database, std::wstring table);
  TableSnapshot(const TableSnapshot&) = delete;
  TableSnapshot& operator=(const TableSnapshot&) = delete;

  // Query and Fetch in one, streams read into memory. True when there is at least one row.
  bool Load(Names columns, Names order_columns = {}, const wchar_t* condition = nullptr);

  // All columns of several tables, at least two, each joined to the first one of the list by its
  // key column. The table of the construction plays no part. Otherwise as Load().
  bool LoadJoined(std::initializer_list<Join> joins);

  // Builds and runs the query and reads the column information. No columns means all of them.
  // Columns that the table has not are left out of the columns and the order: their cells are
  // empty. The condition goes into the text unchanged: its author quotes names in backquotes and
  // values in single quotes. False when any step failed; the snapshot then stays without rows.
  bool Query(Names columns, Names order_columns = {}, const wchar_t* condition = nullptr);

  // Fetches the rows of the query. Without an extractor every stream is read into memory; with one,
  // streams of at most `size_limit_bytes` are written to files and larger ones are left out. True
  // when there is at least one row.
  bool Fetch(const StreamExtractor* extractor, DWORD size_limit_bytes);

  [[nodiscard]] const_iterator begin() const { return rows_.begin(); }
  [[nodiscard]] const_iterator end() const { return rows_.end(); }
  [[nodiscard]] size_t size() const { return rows_.size(); }

  // The streams in memory, in the order their cells were read, one a cell; one that could not be
  // read is empty.
  [[nodiscard]] const std::vector<Bytes>& streams() const { return streams_; }
  [[nodiscard]] const std::wstring& query_text() const { return query_; }

 private:
  // Names that are not among the `known` columns, if any are given, are left out.
  [[nodiscard]] std::wstring Statement(Names columns, Names order_columns, const wchar_t* condition,
                                       const TableRow::Columns* known = nullptr) const;
  bool RunQuery(std::wstring query);
  bool ReadColumns();
  bool ReadCell(UINT field, wchar_t type, size_t* at);
  TableRow ReadRow(const StreamExtractor* extractor, DWORD size_limit_bytes);
  void ReadStreamCell(UINT field, const TableRow& row, const StreamExtractor* extractor,
                      DWORD size_limit_bytes);

  std::wstring table_;
  std::wstring query_;
  std::wstring types_;                          // One lower-case character a column.
  std::shared_ptr<TableRow::Columns> columns_;  // Those whose cells are kept.
  std::vector<TableRow> rows_;
  std::vector<Bytes> streams_;
  std::wstring buffer_;  // Where the cells of a row are read, one after the other.
  UniqueMsiHandle database_;
  UniqueMsiView view_;
  UniqueMsiHandle record_;
  bool ready_;  // What the last step said; once clear, every later step does nothing.
};

}  // namespace msi

#endif  // MSI_TABLE_SNAPSHOT_H_
