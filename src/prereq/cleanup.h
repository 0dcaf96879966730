#ifndef PREREQ_CLEANUP_H_
#define PREREQ_CLEANUP_H_

#include <string_view>

#include "msi/session.h"

namespace prereq {

// Compatibility: true when `path` begins with the text of `folder`, without a delimiter behind
// it. An empty folder is no prefix. Without regard to case only A to Z are folded.
bool HasFolderPrefix(std::wstring_view path, std::wstring_view folder, bool case_sensitive);

// The end of an installation: takes the resume registration back and deletes the recorded setup
// files with the folders that they leave empty, never outside the recorded work folders and never
// those themselves. Nothing is reported, nothing tried twice, and the lists stay as they are.
class CleanupRunner {
 public:
  // The session is borrowed.
  explicit CleanupRunner(const msi::InstallerSession& session) : session_(session) {}

  void Run() const;

 private:
  const msi::InstallerSession& session_;
};

}  // namespace prereq

#endif  // PREREQ_CLEANUP_H_
