#ifndef TESTS_TOOLS_PACKAGE_EDITS_H_
#define TESTS_TOOLS_PACKAGE_EDITS_H_

#include <windows.h>
#include <msi.h>

#include <string>

#include "support/temp_folder.h"

namespace test {

// Runs statements on an open database, ";;" between them:
//   add TABLE COLUMNS = VALUES          a row
//   set TABLE KEY COLUMN = VALUE        a cell
//   drop TABLE KEY                      rows
//   find PROPERTY KIND TEXT             a search, and something that reads its result
//   registry ROOT KEY VALUE             what the package writes to the value "Release"
//   same ROW NAME                       a download of a file of that name
//   recreate COLUMNS                    `QX_PreRequisite` anew, with these behind the other columns
//   one KEY SEQUENCE                    a row that is asked about and no more
//   validate TABLE                      its columns in `_Validation`
//   unschedule ACTION, start ACTION     out of both sequences; by a dialog
//   inside                              setups travel inside the setup executable
//   beside NAME                         a file of four bytes beside the package
//   summary NUMBER TEXT                 an entry of the summary information
// and everything else as SQL. Each must succeed.
void EditPackage(MSIHANDLE database, const TempFolder& folder, const std::wstring& statements);

}  // namespace test

#endif  // TESTS_TOOLS_PACKAGE_EDITS_H_
