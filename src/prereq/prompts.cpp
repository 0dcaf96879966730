#include "prereq/prompts.h"

#include "msi/messages.h"
#include "prereq/rows.h"

namespace prereq {
namespace {

// Numbers in the package's `Error` table: the odd one of a pair is the error form.
constexpr int kMissingError = 4153;
constexpr int kMissingWarning = 4154;
constexpr int kWrongFileError = 4155;
constexpr int kWrongFileWarning = 4156;

}  // namespace

bool AskAboutWrongFile(const PrerequisiteManager& manager, const msi::TableRow& row) {
  return msi::PromptUser(manager.install(), kWrongFileError, kWrongFileWarning,
                         /*forbid_error_form=*/true, SetupFileName(row),
                         row) == msi::PromptAnswer::kGoOn;
}

bool AskAboutMissing(const PrerequisiteManager& manager, const msi::TableRow& row) {
  return msi::PromptUser(manager.install(), kMissingError, kMissingWarning,
                         /*forbid_error_form=*/true, row.Get(L"DisplayName"),
                         row) == msi::PromptAnswer::kGoOn;
}

}  // namespace prereq
