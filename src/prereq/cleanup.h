#ifndef PREREQ_CLEANUP_H_
#define PREREQ_CLEANUP_H_

#include <string>

#include "msi/messages.h"
#include "msi/session.h"
#include "util/folder_guard.h"

namespace prereq {

// The end of an installation: takes the resume registration back and deletes the recorded setup
// files with the folders that they leave empty, never outside the recorded work folders and never
// those themselves. A file below a link is left: the link may lead anywhere. Nothing is tried
// twice, and the lists stay as they are. The installer's log says what was deleted and what was
// left.
class CleanupRunner {
 public:
  // The session is borrowed, as are the functions.
  explicit CleanupRunner(const msi::InstallerSession& session,
                         const util::FolderFunctions& functions = util::SystemFolderFunctions())
      : session_(session), functions_(functions) {}

  void Run() const;

 private:
  void Remove(const std::wstring& file, const std::wstring& work_folder) const;
  void Say(const wchar_t* what, const std::wstring& path) const;

  const msi::InstallerSession& session_;
  const util::FolderFunctions& functions_;
  const bool is_logging_ = msi::IsLogging(session_);
};

}  // namespace prereq

#endif  // PREREQ_CLEANUP_H_
