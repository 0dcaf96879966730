#ifndef CHECK_PACKAGE_CUSTOM_ACTIONS_H_
#define CHECK_PACKAGE_CUSTOM_ACTIONS_H_

#include <optional>
#include <string>
#include <vector>

#include "package.h"
#include "report.h"

namespace check {

// What an action of the library does, in the order in which the kit schedules them first.
enum class Phase { kSearch, kDownload, kExtract, kInstall, kInstallPost, kVerify, kClean };

struct CustomAction {
  std::wstring name;
  int type = 0;
  std::wstring source;
  std::wstring target;
  std::optional<Phase> phase;  // When it calls an export of the library in the way that works.

  [[nodiscard]] int BaseType() const { return type & 0x3F; }
  [[nodiscard]] bool SetsProperty() const;
  // Runs in the first sequence only, or not again in the same process.
  [[nodiscard]] bool RunsOnce() const;
};

std::vector<CustomAction> LoadCustomActions(const Package& package);

// The library in the table `Binary` and the custom actions that call it.
void CheckCustomActions(const Package& package, Report* report);

}  // namespace check

#endif  // CHECK_PACKAGE_CUSTOM_ACTIONS_H_
