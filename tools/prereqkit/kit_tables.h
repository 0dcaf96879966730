#ifndef PREREQKIT_KIT_TABLES_H_
#define PREREQKIT_KIT_TABLES_H_

#include <string>
#include <vector>

#include "database.h"

// What the program carries inside itself: the kit's text tables, the texts in other languages, and
// the libraries.
namespace kit {

struct KitTable {
  std::vector<Column> columns;
  std::vector<Cells> rows;  // Every column, in the order of the columns.
};

// One of the kit's tables, by its name in the package.
KitTable LoadKitTable(const wchar_t* table);

// The texts of one language.
struct Texts {
  std::wstring language;       // "de"
  int primary_language = 0;    // As the lower ten bits of a language identifier.
  std::vector<Cells> errors;   // Error, Message
  std::vector<Cells> actions;  // Action, Description, Template

  [[nodiscard]] std::vector<std::wstring> All() const;
};

// English first.
std::vector<Texts> LoadTexts();

// A carried file, written to the temporary folder and deleted with this.
class CarriedFile {
 public:
  explicit CarriedFile(const wchar_t* name);
  CarriedFile(const CarriedFile&) = delete;
  CarriedFile& operator=(const CarriedFile&) = delete;
  ~CarriedFile();

  // Empty when it could not be written.
  [[nodiscard]] const std::wstring& path() const { return path_; }

 private:
  std::wstring path_;
};

}  // namespace kit

#endif  // PREREQKIT_KIT_TABLES_H_
