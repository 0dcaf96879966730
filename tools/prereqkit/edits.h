#ifndef PREREQKIT_EDITS_H_
#define PREREQKIT_EDITS_H_

#include <string>
#include <vector>

#include "database.h"
#include "report.h"

namespace kit {

// Every change to a package goes through here. What was put in is kept in the package itself, in
// the table `QX_Kit`, as it was put in: so a later run knows its own rows from the author's, sees
// what the author changed in them, and can take all of it out again.
class Edits {
 public:
  Edits(Database* database, Report* report) : database_(*database), report_(*report) {}

  void Load();
  // True when an earlier run has put something into the package.
  [[nodiscard]] bool IsJoined() const { return !entries_.empty(); }
  // What is put in from now on belongs to that prerequisite; to the library when it is empty.
  void SetGroup(std::wstring group) { group_ = std::move(group); }

  // A table of the library, or one of the installer's that the package does not have.
  void EnsureTable(const std::wstring& table, const std::vector<Column>& columns);
  // A row that shall be there. An author's row of that key stays; one of an earlier run is brought
  // up to date unless its author changed or removed it. `what` names the row in the report.
  // True when the row is as wished afterwards.
  bool PutRow(const std::wstring& table, const Cells& key, const Cells& rest,
              const std::wstring& what = {});
  // A row of `Binary` with the content of a file.
  void PutFile(const std::wstring& name, const std::wstring& path);
  // One cell of a row of the author's.
  void ChangeCell(const std::wstring& table, const Cells& key, const std::wstring& column,
                  const std::wstring& value);
  // A name in the list of the property SecureCustomProperties.
  void AddSecureName(const std::wstring& name);

  // True for a row that this run or an earlier one has put in, also when it was removed since.
  [[nodiscard]] bool WasPut(const std::wstring& table, const Cells& key) const;
  // True for a table that was not there before.
  [[nodiscard]] bool WasCreated(const std::wstring& table) const;
  void TakeOutRow(const std::wstring& table, const Cells& key);
  // Takes out what belongs to a prerequisite, last in first out.
  void TakeOut(const std::wstring& group);
  // The same with everything; the table of the changes goes too.
  void TakeOutAll();
  // Writes what was put in into the package.
  void Save();

 private:
  enum class Kind { kTable, kRow, kCell, kName };
  struct Entry {
    Kind kind;
    std::wstring table;
    Cells key;
    Cells content;
    std::wstring group;
  };

  // The position of an entry, or the number of entries when there is none.
  [[nodiscard]] size_t IndexOf(Kind kind, const std::wstring& table, const Cells& key,
                               const std::wstring& column = {}) const;
  [[nodiscard]] Entry* FindEntry(Kind kind, const std::wstring& table, const Cells& key,
                                 const std::wstring& column = {});
  void Add(Kind kind, const std::wstring& table, const Cells& key, const Cells& content);
  void Undo(const Entry& entry);
  void UndoCell(const Entry& entry);
  void UndoName(const std::wstring& name);
  [[nodiscard]] bool IsAsPutIn(const Entry& entry) const;

  Database& database_;
  Report& report_;
  std::vector<Entry> entries_;
  std::wstring group_;
};

// The cells as one text, and back.
std::wstring ToText(const Cells& cells);
Cells FromText(const std::wstring& text);
// The values alone, for reports.
std::wstring Named(const Cells& key);

inline constexpr wchar_t kLedger[] = L"QX_Kit";
std::vector<Column> LedgerColumns();

}  // namespace kit

#endif  // PREREQKIT_EDITS_H_
