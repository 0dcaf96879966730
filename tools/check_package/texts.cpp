#include <map>

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

constexpr Kind kNoPrompt{L"PRE601", Severity::kError};
constexpr Kind kNoSpareText{L"PRE602", Severity::kWarning};
constexpr Kind kNoArgument{L"PRE603", Severity::kWarning};
constexpr Kind kNotAnnounced{L"PRE604", Severity::kWarning};
constexpr Kind kNoItem{L"PRE605", Severity::kWarning};

void CheckErrorTexts(const Context& context) {
  const bool downloads = context.schedule.Runs(Phase::kDownload);
  const bool installs =
      context.schedule.Runs(Phase::kInstall) || context.schedule.Runs(Phase::kInstallPost);
  const bool verifies = context.schedule.Runs(Phase::kVerify);
  const bool checks_files = downloads || installs;
  const struct {
    int number;
    bool is_needed;
    const Kind& kind;
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
  std::map<std::wstring, std::wstring> messages;
  for (const msi::TableRow& row : context.package.Rows(L"Error", {L"Error", L"Message"})) {
    messages[row.Get(L"Error")] = row.Get(L"Message");
  }
  for (const auto& [number, is_needed, kind, text] : rules) {
    if (!is_needed) continue;
    const std::wstring key = util::ToSignedDecimal(number);
    const std::wstring message = messages[key];
    if (message.empty()) {
      context.report->Add(kind, Row(L"Error", key),
                          std::wstring(L"the text is missing or empty: ") + text +
                              L". Take the row from the kit's Error.idt");
    } else if (message.find(L"[2]") == message.npos) {
      context.report->Add(kNoArgument, Row(L"Error", key),
                          L"the text does not show [2], so users do not learn which file or "
                          L"prerequisite is meant");
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
  std::map<std::wstring, msi::TableRow> texts;
  for (const msi::TableRow& row :
       context.package.Rows(L"ActionText", {L"Action", L"Description", L"Template"})) {
    texts.emplace(row.Get(L"Action"), row);
  }
  for (const auto& [action, is_needed] : rules) {
    if (!is_needed) continue;
    const auto found = texts.find(action);
    if (found == texts.end() || found->second.Get(L"Description").empty()) {
      context.report->Add(kNotAnnounced, Row(L"ActionText", action),
                          L"the text is missing: users go on reading what ran before while the "
                          L"library works. The name of the row is this one, however the custom "
                          L"action is called; take it from the kit's ActionText.idt");
    } else if (found->second.Get(L"Template").find(L"[1]") == std::wstring::npos) {
      context.report->Add(kNoItem, Row(L"ActionText", action) + L", column Template",
                          L"the text does not show [1], so users do not learn what is worked on");
    }
  }
}

}  // namespace

void CheckTexts(const Context& context) {
  CheckErrorTexts(context);
  CheckActionTexts(context);
}

}  // namespace check
