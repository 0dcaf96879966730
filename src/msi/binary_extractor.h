#ifndef MSI_BINARY_EXTRACTOR_H_
#define MSI_BINARY_EXTRACTOR_H_

#include <string>

#include "msi/handles.h"
#include "msi/session.h"
#include "util/unique_handle.h"

namespace msi {

// Runs `query` on `database` (borrowed) and writes field 1 of the first row, a stream, to the file
// `path`, in place of any existing one. False when the query cannot be run, gives no row or the
// stream was not written whole; a file that was only written in part stays.
bool ExtractByQuery(MSIHANDLE database, const std::string& query, const std::string& path);

// Takes programs out of a table of the running package, into the user's temporary folder. At most
// one file is there at a time. Used only on the thread that entered the custom action.
class BinaryExtractor {
 public:
  // `query_prefix` is the query up to and with the quote before the name.
  BinaryExtractor(const InstallerSession& session, std::string query_prefix);
  BinaryExtractor(const BinaryExtractor&) = delete;
  BinaryExtractor& operator=(const BinaryExtractor&) = delete;
  ~BinaryExtractor();

  // Writes the program `name` to a temporary file of a name that nothing has, makes sure that the
  // file holds what was written, and gives its path, in the ANSI code page; empty on failure, also
  // when there is no folder for temporary files. The file goes with the next call or the extractor.
  // Until then or LetGo() nobody can write, rename or delete it.
  std::string ExtractToTempExe(const std::string& name);
  // Lets others at the file again. For after its start.
  void LetGo() { hold_.Reset(); }

 private:
  void RemoveTempFile();

  std::string query_prefix_;
  UniqueMsiHandle database_;
  std::string temp_file_;  // The file last written; empty when none.
  util::UniqueFile hold_;
};

}  // namespace msi

#endif  // MSI_BINARY_EXTRACTOR_H_
