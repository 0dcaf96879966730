#include "prereq/prompts.h"

#include "msi/messages.h"
#include "prereq/rows.h"

namespace prereq {

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
