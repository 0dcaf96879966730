#ifndef APPSEARCH_APP_SEARCH_RUNNER_H_
#define APPSEARCH_APP_SEARCH_RUNNER_H_

#include <string>
#include <string_view>

#include "appsearch/program_search.h"
#include "appsearch/search_engine.h"
#include "appsearch/search_rows.h"
#include "msi/binary_extractor.h"
#include "msi/session.h"

namespace appsearch {

// The row of `ActionText` that announces the searches: the one of the installer's own.
inline constexpr wchar_t kAnnouncingRow[] = L"AppSearch";

// Runs the searches of the table `QX_AppSearchEx` and sets the properties they are for. Lives for
// one call of the custom action, on the installer's thread.
class AppSearchRunner {
 public:
  // The session is borrowed.
  explicit AppSearchRunner(const msi::InstallerSession& session);

  // Answers nothing: no search that fails or finds nothing fails the installation.
  void Run();

 private:
  // The programs of the running package.
  class Programs final : public ProgramSource {
   public:
    Programs(const msi::InstallerSession& session, const char* query) : binaries_(session, query) {}
    std::string ExtractToTempExe(const std::string& name) override {
      return binaries_.ExtractToTempExe(name);
    }
    void LetGo() override { binaries_.LetGo(); }

   private:
    msi::BinaryExtractor binaries_;
  };

  void Search(const SearchRow& row) const;
  void Log(const SearchRow& row, std::wstring_view outcome) const;

  const msi::InstallerSession& session_;
  Programs programs_;
  SearchEngine engine_;
};

}  // namespace appsearch

#endif  // APPSEARCH_APP_SEARCH_RUNNER_H_
