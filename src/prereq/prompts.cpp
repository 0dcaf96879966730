#include "prereq/prompts.h"

#include "msi/messages.h"

namespace prereq {
namespace {

bool Ask(const msi::InstallerSession& session, int number, const std::wstring& argument) {
  return msi::PromptUser(session, msi::PromptForm::kWarning, number, argument) ==
         msi::PromptAnswer::kGoOn;
}

}  // namespace

bool AskAboutWrongFile(const msi::InstallerSession& session, const Prerequisite& prerequisite) {
  return Ask(session, kWrongFileWarning, prerequisite.file_name);
}

bool AskAboutMissing(const msi::InstallerSession& session, const Prerequisite& prerequisite) {
  return Ask(session, kMissingWarning, prerequisite.display_name);
}

}  // namespace prereq
