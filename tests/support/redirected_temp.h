#ifndef TESTS_SUPPORT_REDIRECTED_TEMP_H_
#define TESTS_SUPPORT_REDIRECTED_TEMP_H_

#include <windows.h>

#include <set>
#include <string>

#include "support/temp_folder.h"

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

  // Full paths of the files in it.
  [[nodiscard]] std::set<std::wstring> Files() const {
    std::set<std::wstring> paths;
    for (const std::wstring& name : ListBelow(folder_.path())) {
      if (name.find(L'\\') == name.npos) paths.insert(folder_ / name);
    }
    return paths;
  }

 private:
  TempFolder folder_;
  std::wstring old_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_REDIRECTED_TEMP_H_
