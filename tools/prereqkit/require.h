#ifndef PREREQKIT_REQUIRE_H_
#define PREREQKIT_REQUIRE_H_

#include <string>
#include <vector>

#include "join.h"

namespace kit {

// What an author asks for with one prerequisite. Texts are empty when they were not given.
struct Requirement {
  std::wstring setup;  // Path of the setup file.
  std::wstring name;   // What users read.
  std::wstring id;     // Made from the setup file's name when empty.
  std::wstring arguments;
  std::wstring url;
  bool is_inside = false;  // It travels inside the setup executable.
  int search = -1;         // Kind of search, -1 for none.
  std::wstring search_text;
  std::wstring search_arguments;  // Of a program.
  std::wstring at_least;
  std::wstring at_most;
  bool view64 = false;
  std::wstring missing;   // A condition in place of a search.
  std::wstring property;  // Which the search sets; made from the id when empty.
  std::wstring feature;
  std::wstring languages;
  std::wstring order;
  bool is_after_product = false;
  bool is_mandatory = false;
};

// Kinds of search that can be asked for.
enum SearchKind {
  kFileSearch = 0,
  kValueSearch = 2,
  kProductSearch = 3,
  kRelatedSearch = 4,
  kKeySearch = 5,
  kProgramSearch = 10,
  kComponentSearch = 11,
};

// Adds a prerequisite to a joined package: its row, its search, and what they need.
void Require(const Job& job, const Requirement& wish);
// Takes one out, by its key or by the name that users read.
void DropPrerequisite(const Job& job, const std::wstring& name);
// The prerequisites and searches of a package as lines of text.
std::vector<std::wstring> ListPrerequisites(const Database& database);

// The reason why a search cannot be meant as it was asked for; empty when there is none.
std::wstring WhyNoSearch(const Requirement& wish);
// The row of the search of a requirement, without property and order.
Cells SearchCells(const Requirement& wish);

// After rows have come or gone: where the package lies is asked for when a setup beside it is
// missing, and only then.
void UpdateResolveSource(const Job& job);

}  // namespace kit

#endif  // PREREQKIT_REQUIRE_H_
