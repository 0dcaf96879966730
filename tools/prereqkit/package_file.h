#ifndef PREREQKIT_PACKAGE_FILE_H_
#define PREREQKIT_PACKAGE_FILE_H_

#include <string>

namespace kit {

// Why a file is none that can be worked on: not there, no package, a patch, a transform. Empty when
// it is an installation database.
std::wstring WhyNoDatabase(const std::wstring& path);

// The copy of a package that is worked on. It takes the place of the target in one step, or goes
// without a trace; whatever happens, the target is the old file or the whole new one.
class WorkingCopy {
 public:
  // `target` is where the result goes: the package itself, or another file.
  WorkingCopy(const std::wstring& package, const std::wstring& target);
  WorkingCopy(const WorkingCopy&) = delete;
  WorkingCopy& operator=(const WorkingCopy&) = delete;
  ~WorkingCopy();

  // Why there is no copy, or why it could not take its place; empty when nothing is wrong.
  [[nodiscard]] const std::wstring& failure() const { return failure_; }
  [[nodiscard]] const std::wstring& path() const { return path_; }
  // Removes the signatures, which do not hold for what was changed. True when there was one.
  [[nodiscard]] bool RemoveSignature();
  // Writes the copy anew, so that what was deleted in it leaves no gaps. False, with the reason in
  // failure(), when that fails.
  [[nodiscard]] bool Compact();
  // False, with the reason in failure(), when the target stays as it was.
  [[nodiscard]] bool TakePlace();

 private:
  std::wstring target_;
  std::wstring path_;
  std::wstring failure_;
};

// A new package code.
std::wstring NewPackageCode();

}  // namespace kit

#endif  // PREREQKIT_PACKAGE_FILE_H_
