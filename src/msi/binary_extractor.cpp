#include "msi/binary_extractor.h"

#include <utility>

#include "msi/streams.h"
#include "util/files.h"
#include "util/text.h"

namespace msi {
namespace {

constexpr char kTempPrefix[] = "ACS";

// A name of the temporary folder, empty on failure. What the system makes sure is unique is the
// name without ".exe"; a file of the whole name that is there already is written over.
std::string ReserveTempName() {
  char name[MAX_PATH];
  if (::GetTempFileNameA(util::ReadTempFolder().c_str(), kTempPrefix, 0, name) == 0) return {};
  ::DeleteFileA(name);
  return std::string(name) + ".exe";
}

}  // namespace

bool ExtractByQuery(MSIHANDLE database, const std::string& query, const std::string& path) {
  UniqueMsiView view;
  UniqueMsiHandle record;
  return ::MsiDatabaseOpenViewA(database, query.c_str(), view.Receive()) == ERROR_SUCCESS &&
         ::MsiViewExecute(view.Get(), 0) == ERROR_SUCCESS &&
         ::MsiViewFetch(view.Get(), record.Receive()) == ERROR_SUCCESS &&
         WriteStreamToFile(record.Get(), 1, util::ToWide(path));
}

BinaryExtractor::BinaryExtractor(const InstallerSession& session, std::string query_prefix)
    : query_prefix_(std::move(query_prefix)), database_(session.OpenDatabase()) {}

BinaryExtractor::~BinaryExtractor() { RemoveTempFile(); }

std::string BinaryExtractor::ExtractToTempExe(const std::string& name) {
  RemoveTempFile();
  temp_file_ = ReserveTempName();
  if (temp_file_.empty()) return {};
  const std::string query = query_prefix_ + name + "'";
  return ExtractByQuery(database_.Get(), query, temp_file_) ? temp_file_ : std::string();
}

void BinaryExtractor::RemoveTempFile() {
  if (temp_file_.empty()) return;
  ::DeleteFileA(temp_file_.c_str());
  temp_file_.clear();
}

}  // namespace msi
