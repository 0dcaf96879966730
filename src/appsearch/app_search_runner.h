#ifndef APPSEARCH_APP_SEARCH_RUNNER_H_
#define APPSEARCH_APP_SEARCH_RUNNER_H_

#include "appsearch/search_engine.h"
#include "msi/binary_extractor.h"
#include "msi/session.h"
#include "msi/table_snapshot.h"

namespace appsearch {

inline constexpr wchar_t kSearchTable[] = L"QX_AppSearchEx";
// The row of `ActionText` that announces the searches: the one of the installer's own.
inline constexpr wchar_t kAnnouncingRow[] = L"AppSearch";

// Runs the searches of the table `QX_AppSearchEx` and sets the properties they are for. Lives for
// one call of the custom action, on the installer's thread.
class AppSearchRunner {
 public:
  // `install` is borrowed.
  explicit AppSearchRunner(MSIHANDLE install);

  // Always ERROR_SUCCESS: no search that fails or finds nothing fails the installation.
  UINT Run();

 private:
  void SearchRow(const msi::TableRow& row) const;
  // Sets the row's version bounds as properties, for texts of the package; found or not.
  void PublishBounds(const msi::TableRow& row) const;

  msi::InstallerSession session_;
  msi::BinaryExtractor programs_;
  SearchEngine engine_;
};

}  // namespace appsearch

#endif  // APPSEARCH_APP_SEARCH_RUNNER_H_
