#ifndef PREREQ_CARRIED_PROPERTIES_H_
#define PREREQ_CARRIED_PROPERTIES_H_

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "msi/session.h"

namespace prereq {

// True when the name holds no lower-case letter: the installer takes only such a property from a
// command line. Digits, signs and letters without case count for nothing.
bool IsPublicPropertyName(std::wstring_view name);

// `NAME="value"` as the installer's command line reads it back: quotes in the value are doubled,
// and a backslash at its end gets a second one, so that it does not take the closing quote away.
std::wstring QuotedProperty(const std::wstring& name, const std::wstring& value);

// Collects what a resumed installation must be told: every public property whose value differs from
// the package's default. Make one, collect once. Installer's thread only.
class CarriedProperties {
 public:
  // The session is borrowed.
  explicit CarriedProperties(const msi::InstallerSession& session) : session_(session) {}

  // The assignments, each name at most once: the installer's own properties and the library's
  // first, then those of SecureCustomProperties, those that the package's tables name, sorted, and
  // the directories.
  [[nodiscard]] std::vector<std::wstring> Collect();

 private:
  void LoadCandidates();
  void Carry(const std::wstring& name);

  const msi::InstallerSession& session_;
  std::map<std::wstring, std::wstring> candidates_;  // Name to the package's default.
  std::set<std::wstring> handled_;
  std::vector<std::wstring> assignments_;
};

}  // namespace prereq

#endif  // PREREQ_CARRIED_PROPERTIES_H_
