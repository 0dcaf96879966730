#ifndef APPSEARCH_FOLDER_RESOLVER_H_
#define APPSEARCH_FOLDER_RESOLVER_H_

#include <cstddef>
#include <optional>
#include <string>

namespace appsearch {

// Replaces the references in a text:
//   [SystemFolder]                 a folder that the installer knows, or [SETUPEXEDIR]
//   %windir%                       an environment variable
//   !HKLM\key path\value name!     a value of the registry, always of the default view; empty when
//                                  it cannot be read. See ReadComparableValue for its types.
// What does not resolve in the first two forms stays as it stands; so does the rest of a text from
// a mark on that has no counterpart. What was put in is not looked through again.
//
// Texts are in the ANSI code page; what a reference stands for is a folder more often than not, so
// its short name is taken where the code page cannot say the long one.
class FolderResolver {
 public:
  // `setup_folder` is what [SETUPEXEDIR] stands for; empty when it is not known.
  explicit FolderResolver(std::wstring setup_folder);

  // Nothing when a reference stands for what the code page cannot say.
  [[nodiscard]] std::optional<std::string> Resolve(const std::string& text) const;

 private:
  std::wstring setup_folder_;
};

// One reference in a text, resolvable or not.
struct Reference {
  char mark = 0;  // The character that opens it: "[", "%" or "!".
  std::string name;
  size_t begin = 0;  // Of the mark.
  size_t end = 0;    // Behind the closing mark.
};

// The first reference that opens at `from` or later; nothing when none does, or when the first mark
// there has no counterpart.
std::optional<Reference> FindReference(const std::string& text, size_t from);

}  // namespace appsearch

#endif  // APPSEARCH_FOLDER_RESOLVER_H_
