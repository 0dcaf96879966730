#include "prereq/extract_phase.h"

#include <windows.h>

#include <vector>

#include "contract/extraction.h"
#include "contract/properties.h"
#include "msi/messages.h"
#include "prereq/extract_progress_server.h"
#include "prereq/rows.h"
#include "prereq/work_folders.h"
#include "util/ansi_text.h"
#include "util/error_text.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/process.h"
#include "util/text.h"

namespace prereq {
namespace {

constexpr char kFindExecutableAction[] = "QX_FindExeLzma";  // The package's own.

constexpr size_t kOlderFamilyBufferBytes = 264;

// The groups borrow from `prerequisites`.
std::vector<ExtractGroup> SelectGroups(const msi::InstallerSession& session,
                                       const std::vector<Prerequisite>& prerequisites) {
  std::vector<ExtractGroup> groups;
  for (const Prerequisite& one : prerequisites) {
    const wchar_t* const reason = ReasonToPassOver(session, one);
    if (reason != nullptr) {
      LogAbout(session, one, kPassedOver, reason);
    } else if (one.location == Location::kCarried && util::FileExists(one.file_path)) {
      LogAbout(session, one, L"is not unpacked: it is there, ", one.file_path);
    } else if (one.location == Location::kCarried) {
      groups.push_back({static_cast<int32_t>(one.sequence + contract::kFirstGroup), &one});
    }
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

// From a drive or a server down: what lies in whatever folder is the current one is not meant.
bool IsFullPath(const std::wstring& path) {
  return path.starts_with(L"\\\\") || (path.size() > 2 && path[1] == L':' && path[2] == L'\\');
}

std::wstring FindSetupExecutable(const msi::InstallerSession& session) {
  std::wstring path = session.GetProperty(contract::kSetupPathProperty);
  if (!path.empty()) return path;
  (void)session.DoAction(kFindExecutableAction);  // The property tells.
  return session.GetProperty(contract::kSetupPathProperty);
}

// Compatibility: the low byte of each character, without the code page. False when the text and
// its terminator do not fit.
bool KeepLowBytes(const std::wstring& text, char (&buffer)[kOlderFamilyBufferBytes]) {
  if (text.size() >= kOlderFamilyBufferBytes) return false;
  for (size_t i = 0; i < text.size(); ++i) buffer[i] = static_cast<char>(text[i]);
  buffer[text.size()] = '\0';
  return true;
}

bool StartHidden(const std::wstring& executable, const std::wstring& arguments) {
  if (util::IsNtFamily()) return util::StartHidden(executable, arguments, /*wait=*/false);
  char narrow_executable[kOlderFamilyBufferBytes];
  char narrow_arguments[kOlderFamilyBufferBytes];
  // Half a command line would start a program that never calls back, and it would be waited for.
  if (!KeepLowBytes(executable, narrow_executable) || !KeepLowBytes(arguments, narrow_arguments)) {
    ::SetLastError(ERROR_FILENAME_EXCED_RANGE);
    return false;
  }
  return util::StartHidden(std::string(narrow_executable), std::string(narrow_arguments),
                           /*wait=*/false);
}

// Tells the log what was started or why nothing was.
bool StartExtraction(const msi::InstallerSession& session, const std::vector<ExtractGroup>& groups,
                     const std::wstring& executable) {
  const std::wstring folder = ExtractFolder(session);
  const wchar_t* fault = nullptr;
  if (!IsFullPath(executable) || !util::FileExists(executable)) {
    fault = L"nothing is unpacked: QX_SETUPEXEPATH is no full path to a file: ";
  } else if (folder.find(L'"') != folder.npos) {
    // It would end the folder's argument and begin another one.
    fault = L"nothing is unpacked: QX_EXTRACT_DIR holds a double quote, for ";
  }
  if (fault != nullptr) {
    msi::Log(session, {fault, executable});
    return false;
  }
  // The setup executable would take a folder that is there already as it is.
  if (const DWORD error = PrepareWorkFolder(folder)) {
    msi::Log(session, {L"nothing is unpacked to ", folder, L": ", util::ErrorText(error)});
    return false;
  }
  const std::wstring arguments = BuildArguments(groups, folder);
  msi::Log(session, {L"unpacks: ", executable, L" ", arguments});
  if (StartHidden(executable, arguments)) return true;
  msi::Log(session, {L"nothing is unpacked: ", util::ErrorText(::GetLastError())});
  return false;
}

}  // namespace

ActionEnd RunExtractPhase(PrerequisiteManager* manager) {
  const msi::InstallerSession& session = manager->session();
  if (session.GetProperty(contract::kFilesInsideProperty).empty()) return ActionEnd::kDone;
  PrepareFolderList(session);
  manager->Announce(kExtractAction);

  const std::vector<Prerequisite> prerequisites = LoadPrerequisites(session);
  const std::vector<ExtractGroup> groups = SelectGroups(session, prerequisites);
  if (groups.empty()) return ActionEnd::kDone;
  manager->progress().Start(static_cast<uint32_t>(groups.size()), /*accumulate=*/true);
  // Before anything is started: without its pipe it would be waited for, and wait itself.
  const std::string suffix = util::ToDecimalAnsi(::GetCurrentProcessId());
  const std::wstring executable = FindSetupExecutable(session);
  if (suffix.empty() || !StartExtraction(session, groups, executable)) return ActionEnd::kDone;

  util::PipeChannel channel;
  // Not judged: a channel that is not open ends the serving at its first step.
  (void)channel.Open(util::PipeChannel::Side::kServer, suffix);
  ExtractProgressServer server(session, &channel, groups);
  server.Serve();
  channel.Close();
  msi::Log(session, {server.IsCancelled() ? L"unpacking was cancelled" : L"unpacking has ended"});
  return server.IsCancelled() ? ActionEnd::kCancelled : ActionEnd::kDone;
}

}  // namespace prereq
