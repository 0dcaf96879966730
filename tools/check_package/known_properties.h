#ifndef CHECK_PACKAGE_KNOWN_PROPERTIES_H_
#define CHECK_PACKAGE_KNOWN_PROPERTIES_H_

#include <set>
#include <string>

#include "custom_actions.h"
#include "package.h"

namespace check {

// The properties that somebody gives a value: the installer, the library, or a table of the
// package. What a package's own programs and scripts set, no table says.
class KnownProperties {
 public:
  KnownProperties(const Package& package, const CustomActions& custom_actions);

  // True also for what the opened installation has a value of.
  [[nodiscard]] bool IsSet(const std::wstring& name) const;
  // What to say of a property that a condition names and nobody sets; empty when somebody does. A
  // public one can come from a command line and counts only when it looks like one of a search,
  // wrongly written. Empty without an installation.
  [[nodiscard]] std::wstring WhyNeverSet(const std::wstring& name) const;
  // True for a property that the package's searches set, and only those for what is there.
  [[nodiscard]] bool IsFoundBySearch(const std::wstring& name) const {
    return found_by_search_.contains(name) && !IsSetByAbsence(name);
  }
  // True for one that a search for what is missing sets (kinds 6 and 8).
  [[nodiscard]] bool IsSetByAbsence(const std::wstring& name) const {
    return set_by_absence_.contains(name);
  }
  // True for one that becomes the versions that were found, never just 1: its searches are all
  // bounded, and no other table sets it.
  [[nodiscard]] bool HoldsVersions(const std::wstring& name) const {
    return set_to_versions_.contains(name) && !set_otherwise_.contains(name);
  }
  // True for one that a search of the package sets, be it the library's or the installer's own.
  [[nodiscard]] bool IsSearched(const std::wstring& name) const { return searched_.contains(name); }
  // True when something besides the tables of searches and values gives it one while the
  // installation runs.
  [[nodiscard]] bool IsSetOtherwise(const std::wstring& name) const {
    return set_otherwise_.contains(name);
  }
  // What a machine has on which nothing was ever found: the package's default, and 1 for what is
  // set by absence.
  [[nodiscard]] std::wstring ValueOnFreshMachine(const std::wstring& name) const;
  // True when `SecureCustomProperties` names it.
  [[nodiscard]] bool IsSecure(const std::wstring& name) const { return secure_.contains(name); }
  // True for one that the installer itself gives a meaning.
  [[nodiscard]] static bool IsInstallers(const std::wstring& name);

 private:
  void AddSearches(const Package& package);
  void AddActions(const Package& package, const CustomActions& custom_actions);

  const Package& package_;
  std::set<std::wstring> names_;
  std::set<std::wstring> searched_;
  std::set<std::wstring> found_by_search_;
  std::set<std::wstring> set_by_absence_;
  std::set<std::wstring> set_to_versions_;
  std::set<std::wstring> set_otherwise_;  // When the installation runs, by whatever else.
  std::set<std::wstring> secure_;
};

}  // namespace check

#endif  // CHECK_PACKAGE_KNOWN_PROPERTIES_H_
