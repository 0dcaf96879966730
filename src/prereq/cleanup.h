#ifndef PREREQ_CLEANUP_H_
#define PREREQ_CLEANUP_H_

#include <windows.h>
#include <msi.h>

#include <string>
#include <string_view>
#include <vector>

namespace prereq {

// True when `path` begins with the text of `folder`; no separator is asked for after it, on
// purpose. An empty folder is no prefix. Without regard to case only A to Z are folded.
bool HasFolderPrefix(std::wstring_view path, std::wstring_view folder, bool case_sensitive);

// The end of an installation: takes the resume registration back and deletes the recorded setup
// files with the folders that they leave empty, never outside the recorded work folders and never
// those themselves. Nothing is reported, nothing tried twice, and the lists stay as they are.
class CleanupRunner {
 public:
  // `install` is borrowed and never closed.
  explicit CleanupRunner(MSIHANDLE install) : install_(install) {}

  void Run() const;

 private:
  MSIHANDLE install_;
};

}  // namespace prereq

#endif  // PREREQ_CLEANUP_H_
