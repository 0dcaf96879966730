#include "prereq/verify_phase.h"

#include "msi/messages.h"
#include "prereq/prompts.h"
#include "prereq/rows.h"

namespace prereq {

uint32_t RunVerifyPhase(PrerequisiteManager* manager) {
  manager->Announce(kVerifyAction);
  msi::TableSnapshot rows(manager->install(), kPrerequisiteTable);
  rows.Load({L"DisplayName", L"Options", L"Languages", L"Feature_", L"MissingCondition"},
            {L"Sequence"});
  for (const msi::TableRow& row : rows) {
    // Not IsSelected(), on purpose: here the condition comes last, as the one that decides.
    if (!HasOption(row, kPostInstallOption) && LanguageMatches(row.Get(L"Languages")) &&
        RowFeatureQualifies(manager->session(), row) && IsMissing(manager->session(), row) &&
        !AskAboutMissing(*manager, row)) {
      return static_cast<uint32_t>(msi::PromptAnswer::kStop);
    }
  }
  return manager->result();
}

}  // namespace prereq
