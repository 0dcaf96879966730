#ifndef TESTS_RELIABILITY_FOREIGN_FILES_H_
#define TESTS_RELIABILITY_FOREIGN_FILES_H_

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "reliability/random.h"
#include "support/temp_folder.h"

namespace test {

// Files of somebody else, laid round the places where the library works.
class ForeignFiles {
 public:
  // `names` are below `folder`.
  ForeignFiles(const TempFolder& folder, Random* random,
               std::initializer_list<const wchar_t*> names) {
    for (const wchar_t* name : names) {
      const std::string content = random->Bytes(random->Between(1, 200));
      files_.emplace_back(folder.Write(name, content), content);
    }
  }

  // The paths of those that are gone or altered.
  [[nodiscard]] std::vector<std::wstring> FindHarmed() const {
    std::vector<std::wstring> harmed;
    for (const auto& [path, content] : files_) {
      if (ReadWholeFile(path) != content) harmed.push_back(path);
    }
    return harmed;
  }
  [[nodiscard]] size_t size() const { return files_.size(); }
  [[nodiscard]] const std::wstring& PathOf(size_t index) const { return files_[index].first; }

 private:
  std::vector<std::pair<std::wstring, std::string>> files_;
};

}  // namespace test

#endif  // TESTS_RELIABILITY_FOREIGN_FILES_H_
