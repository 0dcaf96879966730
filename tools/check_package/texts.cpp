#include "appsearch/app_search_runner.h"
#include "checks.h"
#include "prereq/download_phase.h"
#include "prereq/extract_phase.h"
#include "prereq/extract_progress_server.h"
#include "prereq/install_phase.h"
#include "prereq/prompts.h"
#include "prereq/verify_phase.h"
#include "util/text.h"

namespace check {
namespace {

void CheckErrorTexts(const Context& context) {
  const bool downloads = context.schedule.Runs(Phase::kDownload);
  const bool installs =
      context.schedule.Runs(Phase::kInstall) || context.schedule.Runs(Phase::kInstallPost);
  const bool verifies = context.schedule.Runs(Phase::kVerify);
  const bool checks_files = downloads || installs;
  const struct {
    int number;
    bool is_needed;
    const FindingText& finding;
    const wchar_t* text;
  } rules[] = {
      {prereq::kOutOfDiskSpaceText, context.schedule.Runs(Phase::kExtract), kNoPrompt,
       L"the question when there is not enough disk space to unpack a setup file"},
      {prereq::kMissingError, verifies, kNoSpareText,
       L"the error form of 4154, which the library keeps but does not show today"},
      {prereq::kMissingWarning, verifies, kNoPrompt,
       L"the question when a prerequisite is still missing"},
      {prereq::kWrongFileError, checks_files, kNoSpareText,
       L"the error form of 4156, which the library keeps but does not show today"},
      {prereq::kWrongFileWarning, checks_files, kNoPrompt,
       L"the question when a setup file has the wrong size or digest"},
  };
  Values messages;
  for (const msi::TableRow& row : context.package.Rows(L"Error")) {
    messages[row.Get(L"Error")] = row.Get(L"Message");
  }
  for (const auto& [number, is_needed, finding, text] : rules) {
    if (!is_needed) continue;
    const std::wstring key = util::ToSignedDecimal(number);
    const std::wstring message = messages[key];
    if (message.empty()) {
      context.report->Add(finding, {L"Error", key, {}}, {text});
    } else if (message.find(L"[2]") == message.npos) {
      context.report->Add(kNoArgument, {L"Error", key, L"Message"});
    }
  }
}

void CheckActionTexts(const Context& context) {
  const struct {
    const wchar_t* action;
    bool is_needed;
  } rules[] = {
      {appsearch::kAnnouncingRow, context.schedule.Runs(Phase::kSearch)},
      {prereq::kDownloadAction, context.schedule.Runs(Phase::kDownload)},
      {prereq::kExtractAction, context.schedule.Runs(Phase::kExtract)},
      {prereq::kInstallAction,
       context.schedule.Runs(Phase::kInstall) || context.schedule.Runs(Phase::kInstallPost)},
      {prereq::kVerifyAction, context.schedule.Runs(Phase::kVerify)},
  };
  std::map<std::wstring, const msi::TableRow*> texts;
  for (const msi::TableRow& row : context.package.Rows(L"ActionText")) {
    texts.emplace(row.Get(L"Action"), &row);
  }
  for (const auto& [action, is_needed] : rules) {
    if (!is_needed) continue;
    const auto found = texts.find(action);
    if (found == texts.end() || found->second->Get(L"Description").empty()) {
      context.report->Add(kNotAnnounced, {L"ActionText", action, {}});
    } else if (found->second->Get(L"Template").find(L"[1]") == std::wstring::npos) {
      context.report->Add(kNoItem, {L"ActionText", action, L"Template"});
    }
  }
}

}  // namespace

void CheckTexts(const Context& context) {
  CheckErrorTexts(context);
  CheckActionTexts(context);
}

}  // namespace check
