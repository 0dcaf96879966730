#include "prereq/verify_phase.h"

#include "prereq/prompts.h"
#include "prereq/rows.h"

namespace prereq {
namespace {

// Compatibility: not IsSelected(), here the condition comes last.
bool IsStillMissing(const msi::InstallerSession& session, const Prerequisite& prerequisite) {
  return !prerequisite.is_after_product && LanguageMatches(prerequisite.languages) &&
         FeatureQualifies(session, prerequisite.feature) && IsMissing(session, prerequisite);
}

}  // namespace

ActionEnd RunVerifyPhase(PrerequisiteManager* manager) {
  const msi::InstallerSession& session = manager->session();
  manager->Announce(kVerifyAction);
  for (const Prerequisite& prerequisite : LoadWithoutFiles(session)) {
    if (IsStillMissing(session, prerequisite) && !AskAboutMissing(session, prerequisite)) {
      return ActionEnd::kRefused;
    }
  }
  return ActionEnd::kDone;
}

}  // namespace prereq
