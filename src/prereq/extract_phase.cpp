#include "prereq/extract_phase.h"

#include <windows.h>

#include <vector>

#include "contract/extraction.h"
#include "contract/properties.h"
#include "prereq/extract_progress_server.h"
#include "prereq/rows.h"
#include "prereq/work_folders.h"
#include "util/ansi_text.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/process.h"
#include "util/text.h"

namespace prereq {
namespace {

constexpr char kFindExecutableAction[] = "QX_FindExeLzma";  // The package's own.

constexpr uint32_t kCancelled = 1;
constexpr size_t kOlderFamilyBufferBytes = 264;

// The rows of the result stay those of `rows`.
std::vector<ExtractGroup> SelectGroups(const msi::InstallerSession& session,
                                       const msi::TableSnapshot& rows) {
  std::vector<ExtractGroup> groups;
  for (const msi::TableRow& row : rows) {
    if (!IsSelected(session, row) || RowLocation(row) != kCarriedLocation ||
        util::FileExists(SetupFilePath(session, row))) {
      continue;
    }
    const auto sequence = util::ParseDecimal<uint32_t>(row.Get(L"Sequence"));
    groups.push_back({static_cast<int32_t>(sequence + contract::kFirstGroup), &row});
  }
  return groups;
}

std::wstring BuildArguments(const std::vector<ExtractGroup>& groups, const std::wstring& folder) {
  std::wstring arguments = contract::kGroupsArgument;
  for (const ExtractGroup& group : groups) {
    arguments += util::ToSignedDecimal(group.id) + contract::kGroupDelimiter;
  }
  arguments += std::wstring(L" ") + contract::kFolderArgument + L'"' + folder + L'"';
  return arguments + L' ' + contract::kCallbackArgument + util::ToDecimal(::GetCurrentProcessId());
}

std::wstring FindSetupExecutable(const msi::InstallerSession& session) {
  std::wstring path = session.GetProperty(contract::kSetupPathProperty);
  if (!path.empty()) return path;
  (void)session.DoAction(kFindExecutableAction);  // The property tells.
  return session.GetProperty(contract::kSetupPathProperty);
}

// The low byte of each unit, without the code page, on purpose. False when the text and its
// terminator do not fit.
bool KeepLowBytes(const std::wstring& text, char (&buffer)[kOlderFamilyBufferBytes]) {
  if (text.size() >= kOlderFamilyBufferBytes) return false;
  for (size_t i = 0; i < text.size(); ++i) buffer[i] = static_cast<char>(text[i]);
  buffer[text.size()] = '\0';
  return true;
}

bool StartExtraction(const std::wstring& executable, const std::wstring& arguments) {
  if (util::IsNtFamily()) return util::StartHidden(executable, arguments, /*wait=*/false);
  char narrow_executable[kOlderFamilyBufferBytes];
  char narrow_arguments[kOlderFamilyBufferBytes];
  // Half a command line would start a program that never calls back, and it would be waited for.
  if (!KeepLowBytes(executable, narrow_executable) || !KeepLowBytes(arguments, narrow_arguments)) {
    return false;
  }
  return util::StartHidden(std::string(narrow_executable), std::string(narrow_arguments),
                           /*wait=*/false);
}

}  // namespace

uint32_t RunExtractPhase(PrerequisiteManager* manager) {
  const msi::InstallerSession& session = manager->session();
  if (session.GetProperty(contract::kFilesInsideProperty).empty()) return ERROR_SUCCESS;
  PrepareFolderList(session);
  manager->Announce(kExtractAction);

  msi::TableSnapshot rows(manager->install(), kPrerequisiteTable);
  LoadPrerequisites(&rows);
  const std::vector<ExtractGroup> groups = SelectGroups(session, rows);
  if (groups.empty()) return ERROR_SUCCESS;
  manager->progress().Start(static_cast<uint32_t>(groups.size()), /*accumulate=*/true);
  const std::wstring arguments = BuildArguments(groups, ExtractFolder(session));
  const std::wstring executable = FindSetupExecutable(session);
  if (executable.empty() || !StartExtraction(executable, arguments)) return ERROR_SUCCESS;

  util::PipeChannel channel;
  const std::string suffix = util::ToDecimalAnsi(::GetCurrentProcessId());
  // Not judged: a channel that is not open ends the serving at its first step.
  (void)channel.Open(util::PipeChannel::Side::kServer, suffix);
  ExtractProgressServer server(session, &channel, groups);
  server.Serve();
  channel.Close();
  return server.IsCancelled() ? kCancelled : ERROR_SUCCESS;
}

}  // namespace prereq
