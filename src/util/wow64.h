#ifndef UTIL_WOW64_H_
#define UTIL_WOW64_H_

#include <windows.h>

namespace util {

// True when this 32-bit process runs on a 64-bit edition of the system. Any thread.
bool Is64BitSystem();

// While it lives, paths below the system folder name the 64-bit system's files instead of those
// that a 32-bit process sees in their place. Holds for the thread that made it, which must also end
// it, and nests. Does nothing on a 32-bit system. Keep its scope free of calls that may load a
// library: the loader would find the 64-bit one.
class FileRedirectionOff {
 public:
  // Finds a function of the system by its name; null when there is none. Tests give their own.
  using Find = FARPROC (*)(const char* name);
  FileRedirectionOff();
  explicit FileRedirectionOff(Find find);
  FileRedirectionOff(const FileRedirectionOff&) = delete;
  FileRedirectionOff& operator=(const FileRedirectionOff&) = delete;
  ~FileRedirectionOff();

 private:
  BOOL(WINAPI* revert_)(void* old_state) = nullptr;  // Set while it is off.
  void* old_state_ = nullptr;
};

}  // namespace util

#endif  // UTIL_WOW64_H_
