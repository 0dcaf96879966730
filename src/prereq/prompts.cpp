#include "prereq/prompts.h"

#include "msi/messages.h"
#include "util/text.h"

namespace prereq {
namespace {

bool Ask(const msi::InstallerSession& session, const Prerequisite& prerequisite, int number,
         const std::wstring& argument) {
  const bool goes_on = msi::PromptUser(session, msi::PromptForm::kWarning, number, argument) ==
                       msi::PromptAnswer::kGoOn;
  LogAbout(session, prerequisite, L"asked with ", util::ToDecimal(static_cast<uint64_t>(number)),
           goes_on ? L": the answer is to go on" : L": nobody answered to go on");
  return goes_on;
}

}  // namespace

bool AskAboutWrongFile(const msi::InstallerSession& session, const Prerequisite& prerequisite) {
  return Ask(session, prerequisite, kWrongFileWarning, prerequisite.file_name);
}

bool AskAboutMissing(const msi::InstallerSession& session, const Prerequisite& prerequisite) {
  return Ask(session, prerequisite, kMissingWarning, prerequisite.display_name);
}

}  // namespace prereq
