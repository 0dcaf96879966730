#include "prereq/verify_phase.h"

#include "prereq/prompts.h"
#include "prereq/rows.h"

namespace prereq {
namespace {

// Null for one that is to be asked about. Compatibility: not ReasonToPassOver(), here the condition
// comes last.
const wchar_t* ReasonNotToAsk(const msi::InstallerSession& session,
                              const Prerequisite& prerequisite) {
  if (!prerequisite.is_readable) return kUnreadRow;
  if (prerequisite.is_after_product) return L"Options has a p";
  if (!LanguageMatches(prerequisite.languages)) return kOtherLanguage;
  if (!FeatureQualifies(session, prerequisite.feature)) return kOtherFeature;
  return IsMissing(session, prerequisite) ? nullptr : kNotMissing;
}

}  // namespace

ActionEnd RunVerifyPhase(PrerequisiteManager* manager) {
  const msi::InstallerSession& session = manager->session();
  manager->Announce(kVerifyAction);
  for (const Prerequisite& prerequisite : LoadWithoutFiles(session)) {
    if (const wchar_t* reason = ReasonNotToAsk(session, prerequisite)) {
      LogAbout(session, prerequisite, L"is not asked about: ", reason);
    } else if (!AskAboutMissing(session, prerequisite)) {
      return ActionEnd::kRefused;
    }
  }
  return ActionEnd::kDone;
}

}  // namespace prereq
