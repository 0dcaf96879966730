#ifndef TESTS_SUPPORT_TEMP_FOLDER_H_
#define TESTS_SUPPORT_TEMP_FOLDER_H_

#include <string>
#include <string_view>
#include <vector>

namespace test {

// A folder of the test's own, removed with all it holds.
class TempFolder {
 public:
  TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder();

  // Full path without a backslash at its end.
  [[nodiscard]] const std::wstring& path() const { return path_; }
  [[nodiscard]] std::wstring operator/(std::wstring_view name) const;

  // Makes a file or folder below and answers its full path. The folder of a file is made too.
  std::wstring Write(std::wstring_view name, std::string_view content) const;
  std::wstring MakeFolder(std::wstring_view name) const;

 private:
  std::wstring path_;
};

// The whole content of a file; empty when there is none.
std::string ReadWholeFile(const std::wstring& path);

// The names from `folder` on of all below it. A folder has a backslash at its end and comes before
// what it holds.
std::vector<std::wstring> ListBelow(const std::wstring& folder);

// The folder of the running test program, without a backslash at its end.
std::wstring ProgramFolder();

}  // namespace test

#endif  // TESTS_SUPPORT_TEMP_FOLDER_H_
