#ifndef TESTS_SUPPORT_REDIRECTED_TEMP_H_
#define TESTS_SUPPORT_REDIRECTED_TEMP_H_

#include <windows.h>

#include <set>
#include <string>

#include "support/temp_folder.h"
#include "util/unique_handle.h"

namespace test {

// While it lives, the process has a folder for temporary files of its own.
class RedirectedTemp {
 public:
  RedirectedTemp() {
    wchar_t old[MAX_PATH];
    old_.assign(old, ::GetEnvironmentVariableW(L"TMP", old, MAX_PATH));
    ::SetEnvironmentVariableW(L"TMP", folder_.path().c_str());
  }
  RedirectedTemp(const RedirectedTemp&) = delete;
  RedirectedTemp& operator=(const RedirectedTemp&) = delete;
  ~RedirectedTemp() { ::SetEnvironmentVariableW(L"TMP", old_.c_str()); }

  // Full paths of what is in it under such names.
  [[nodiscard]] std::set<std::wstring> Files(const std::wstring& pattern = L"*.*") const {
    std::set<std::wstring> paths;
    WIN32_FIND_DATAW found;
    const util::UniqueFind search(::FindFirstFileW((folder_ / pattern).c_str(), &found));
    if (!search) return paths;
    do {
      if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        paths.insert(folder_ / found.cFileName);
      }
    } while (::FindNextFileW(search.Get(), &found));
    return paths;
  }

 private:
  TempFolder folder_;
  std::wstring old_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_REDIRECTED_TEMP_H_
