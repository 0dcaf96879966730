#ifndef CHECK_PACKAGE_CUSTOM_ACTIONS_H_
#define CHECK_PACKAGE_CUSTOM_ACTIONS_H_

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "library_image.h"
#include "package.h"
#include "report.h"

namespace check {

// What an action of the library does, in the order in which the kit schedules them first.
enum class Phase { kSearch, kDownload, kExtract, kInstall, kInstallPost, kVerify, kClean };

inline constexpr Phase kAllPhases[] = {Phase::kSearch,  Phase::kDownload,    Phase::kExtract,
                                       Phase::kInstall, Phase::kInstallPost, Phase::kVerify,
                                       Phase::kClean};

// The export of the library that does it.
[[nodiscard]] const wchar_t* ExportOf(Phase phase);

struct CustomAction {
  std::wstring name;
  int type = 0;
  std::wstring source;
  std::wstring target;
  std::optional<Phase> phase;  // When it calls an export of the library in the way that works.

  [[nodiscard]] int BaseType() const { return type & 0x3F; }
  [[nodiscard]] bool SetsProperty() const;
  // Calls the kit's library for the ends, which takes the value for the next logon back.
  [[nodiscard]] bool TakesRunValueBack() const;
  // A library or a script of the author's own, which can read and set any property.
  [[nodiscard]] bool IsOwnCode() const;
  // Runs in the first sequence only, or not again in the same process.
  [[nodiscard]] bool RunsOnce() const;
};

// The custom actions of a package, and which rows of `Binary` are the library: the one of the kit's
// name, and those in which an action calls an export of it and that have two of them. An author's
// own library may have a function of one such name.
class CustomActions {
 public:
  explicit CustomActions(const Package& package);

  [[nodiscard]] const std::vector<CustomAction>& all() const { return actions_; }
  [[nodiscard]] bool IsLibrary(const std::wstring& binary) const {
    return libraries_.contains(binary);
  }
  [[nodiscard]] const CustomAction* Find(const std::wstring& name) const;

  void Check(const Package& package, Report* report) const;

 private:
  void FindLibraries(const Package& package);
  [[nodiscard]] std::vector<std::wstring> CallersOf(const std::wstring& library) const;

  std::vector<CustomAction> actions_;
  // Nothing for what cannot be read as a library.
  std::map<std::wstring, std::optional<LibraryImage>> libraries_;
};

}  // namespace check

#endif  // CHECK_PACKAGE_CUSTOM_ACTIONS_H_
