#include "prereq/verify_phase.h"

#include "msi/messages.h"
#include "prereq/prompts.h"
#include "prereq/rows.h"

namespace prereq {
namespace {

constexpr wchar_t kAction[] = L"QX_VerifyPrereq";

}  // namespace

uint32_t RunVerifyPhase(PrerequisiteManager* manager) {
  manager->Announce(kAction);
  msi::TableSnapshot rows(manager->install(), kPrerequisiteTable);
  rows.Load({L"DisplayName", L"Options", L"Languages", L"Feature_", L"MissingCondition"},
            {L"Sequence"});
  for (const msi::TableRow& row : rows) {
    if (!HasOption(row, kPostInstallOption) && LanguageMatches(row.Get(L"Languages")) &&
        RowFeatureQualifies(manager->session(), row) && IsMissing(manager->session(), row) &&
        !AskAboutMissing(*manager, row)) {
      return static_cast<uint32_t>(msi::PromptAnswer::kStop);
    }
  }
  return manager->result();
}

}  // namespace prereq
