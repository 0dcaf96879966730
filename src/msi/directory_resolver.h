#ifndef MSI_DIRECTORY_RESOLVER_H_
#define MSI_DIRECTORY_RESOLVER_H_

#include <map>
#include <string>

#include "msi/session.h"

namespace msi {

// Answers for a key of the `Directory` table which folder it is, also before the installer has
// resolved its directories. Answers are remembered for the object's life. Used only on the thread
// that entered the custom action.
class DirectoryResolver {
 public:
  // The session is borrowed.
  explicit DirectoryResolver(const InstallerSession& session) : session_(session) {}

  // The folder's path; empty when the key is unknown or its parents run in a circle. A property of
  // that name is the answer as it stands. Otherwise the path begins with what the nearest parent
  // that has a property gives, with a backslash at its end, and has one after every name appended.
  std::wstring ResolveDirectory(const std::wstring& key);

 private:
  const InstallerSession& session_;
  std::map<std::wstring, std::wstring> resolved_;
};

}  // namespace msi

#endif  // MSI_DIRECTORY_RESOLVER_H_
