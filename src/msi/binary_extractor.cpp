#include "msi/binary_extractor.h"

#include <utility>

#include "msi/streams.h"
#include "util/files.h"
#include "util/text.h"

namespace msi {
namespace {

constexpr char kTempPrefix[] = "ACS";

// Names that somebody else has taken are passed over, up to so many.
constexpr int kMostRounds = 256;

struct NewFile {
  std::string path;
  util::UniqueFile file;  // Open for writing; empty on failure.
};

// A new file in the folder for temporary files. What the system makes sure is unique is the name
// without ".exe"; that one is kept until the next was given, or it would be given again.
NewFile CreateTempExe() {
  const std::string folder = util::ReadTempFolder();
  NewFile result;
  if (folder.empty()) return result;  // Else it would be the root of the drive.
  std::string placeholder;
  for (int round = 0; round < kMostRounds && !result.file; ++round) {
    char name[MAX_PATH];
    const bool has_name = ::GetTempFileNameA(folder.c_str(), kTempPrefix, 0, name) != 0;
    if (!placeholder.empty()) ::DeleteFileA(placeholder.c_str());
    placeholder = has_name ? name : "";
    if (!has_name) return result;
    result.path = placeholder + ".exe";
    result.file = util::CreateNewForWriting(util::ToWide(result.path));
    if (!result.file && ::GetLastError() != ERROR_FILE_EXISTS) break;
  }
  ::DeleteFileA(placeholder.c_str());
  return result;
}

// The first row of a query.
struct FirstRow {
  FirstRow(MSIHANDLE database, const std::string& query) {
    found = ::MsiDatabaseOpenViewA(database, query.c_str(), view.Receive()) == ERROR_SUCCESS &&
            ::MsiViewExecute(view.Get(), 0) == ERROR_SUCCESS &&
            ::MsiViewFetch(view.Get(), record.Receive()) == ERROR_SUCCESS;
  }

  UniqueMsiView view;
  UniqueMsiHandle record;
  bool found = false;
};

}  // namespace

bool ExtractByQuery(MSIHANDLE database, const std::string& query, const std::string& path) {
  const FirstRow row(database, query);
  return row.found && WriteStreamToFile(row.record.Get(), 1, util::ToWide(path));
}

BinaryExtractor::BinaryExtractor(const InstallerSession& session, std::string query_prefix)
    : query_prefix_(std::move(query_prefix)), database_(session.OpenDatabase()) {}

BinaryExtractor::~BinaryExtractor() { RemoveTempFile(); }

std::string BinaryExtractor::ExtractToTempExe(const std::string& name) {
  RemoveTempFile();
  const FirstRow row(database_.Get(), query_prefix_ + name + "'");
  if (!row.found) return {};
  NewFile target = CreateTempExe();
  if (!target.file) return {};
  temp_file_ = target.path;
  util::Md5 written;
  const bool is_whole = WriteStream(row.record.Get(), 1, target.file.Get(), &written);
  // While it is open for writing the system does not start it.
  target.file.Reset();
  if (!is_whole) return {};
  hold_ = util::OpenAndHold(util::ToWide(temp_file_));
  if (hold_ && util::ReadFileMd5(hold_.Get()) == written.Finish()) return temp_file_;
  RemoveTempFile();
  return {};
}

void BinaryExtractor::RemoveTempFile() {
  LetGo();
  if (temp_file_.empty()) return;
  ::DeleteFileA(temp_file_.c_str());
  temp_file_.clear();
}

}  // namespace msi
