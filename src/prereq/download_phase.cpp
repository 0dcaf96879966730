#include "prereq/download_phase.h"

#include <optional>
#include <vector>

#include "download/downloader.h"
#include "download/partial_file.h"
#include "msi/messages.h"
#include "prereq/file_check.h"
#include "prereq/listener_relay.h"
#include "prereq/prompts.h"
#include "prereq/rows.h"
#include "prereq/work_folders.h"
#include "util/ansi_text.h"
#include "util/error_text.h"
#include "util/files.h"
#include "util/text.h"

namespace prereq {
namespace {

bool IsDownloaded(const Prerequisite& prerequisite) {
  return prerequisite.location == Location::kDownloaded;
}

// What came of a transfer, for the log. The downloader's own codes have no text of the system.
std::wstring ResultText(uint32_t code) {
  switch (code) {
    case NO_ERROR:
      return L"complete";
    case download::kNoLocalName:
      return L"no place for it on this machine";
    case download::kCancelled:
      return L"cancelled";
    case download::kEndedShort:
      return L"it broke off and cannot be continued";
    case download::kAlreadyComplete:
      return L"the partial file is not shorter than the server's";
    case download::kAuthenticationRequired:
      return L"a login is asked for";
    case download::kNotModified:
      return L"the server says that it has not changed";
    case download::kForbidden:
      return L"the server refuses it";
    case download::kNotFound:
      return L"the server does not have it";
    default:
      return util::ErrorText(code);
  }
}

// The address without a name and a password before its host.
std::wstring WithoutLogin(std::wstring url) {
  const size_t scheme = url.find(L"://");
  if (scheme == url.npos) return url;
  const size_t host = scheme + 3;
  const size_t at = url.rfind(L'@', url.find_first_of(L"/\\?#", host));
  if (at != url.npos && at >= host) url.erase(host, at + 1 - host);
  return url;
}

void LogResult(const msi::InstallerSession& session, const Prerequisite& prerequisite,
               uint32_t code) {
  if (!msi::IsLogging(session)) return;
  const std::wstring& path = prerequisite.file_path;
  const std::wstring partial = path + util::ToWide(download::kPartialFileEnding);
  const uint64_t bytes = util::ReadFileSize(code == NO_ERROR ? path : partial).value_or(0);
  msi::Log(session,
           {L"\"", prerequisite.display_name, L"\" download of ", WithoutLogin(prerequisite.url),
            L" to ", path, L": ", util::ToDecimal(bytes), L" bytes, result ",
            util::ToSignedDecimal(static_cast<int32_t>(code)), L": ", ResultText(code)});
}

// Shows what went wrong before the transfer could tell of it itself.
uint32_t Fail(ProgressReporter* progress, uint32_t error) {
  progress->OnError(0, error);
  return error;
}

// 0 when the file is whole and in its place. Errors were shown to the user.
uint32_t Fetch(ProgressReporter* progress, const std::string& url, const std::string& folder,
               const std::string& path) {
  ListenerRelay relay(progress);
  download::Downloader downloader(folder, &relay, /*credentials=*/nullptr);
  // This thread waits in the relay instead: it is needed for the messages.
  if (const uint32_t error =
          downloader.Start(url, path, /*parent=*/nullptr, /*resume=*/true, /*wait=*/false,
                           /*extra_headers=*/nullptr, /*want_last_modified=*/false)) {
    return Fail(progress, error);
  }
  if (const DWORD error = relay.Forward(downloader.GetThread())) return Fail(progress, error);
  DWORD result = 0;
  if (!::GetExitCodeThread(downloader.GetThread(), &result)) {
    return Fail(progress, ::GetLastError());
  }
  return result;
}

// `folder` in the ANSI code page, in which the downloader works, with short names of what is there
// already where the code page lacks a character. Nothing when it cannot be said.
std::optional<std::string> NarrowFolder(const std::wstring& folder) {
  const std::wstring there = NearestExisting(folder);
  const std::optional<std::string> begin = util::ToAnsiPath(there);
  const std::optional<std::string> rest = util::TryToAnsi(folder.substr(there.size()));
  if (!begin || !rest) return std::nullopt;
  return *begin + *rest;
}

uint32_t Fetch(PrerequisiteManager* manager, const Prerequisite& prerequisite) {
  const msi::InstallerSession& session = manager->session();
  ProgressReporter* const progress = &manager->progress();
  const std::wstring& path = prerequisite.file_path;
  // Without a folder the downloader would use the current one, without a name one of its own, and
  // no clean-up would find the file.
  if (path.empty() || prerequisite.file_name.empty()) return Fail(progress, download::kNoLocalName);
  const std::optional<std::string> url = util::TryToAnsi(prerequisite.url);
  const std::optional<std::string> folder = NarrowFolder(DownloadFolder(session));
  const std::optional<std::string> name = util::TryToAnsi(prerequisite.file_name);
  // A neighbour's name would be another file.
  if (!url || !folder || !name) return Fail(progress, ERROR_INVALID_NAME);
  // Before the transfer, so that the clean-up finds what is left of a broken one too.
  AppendToFileList(session, path);
  std::vector<util::UniqueFile> held;
  if (const DWORD error = PrepareTransfer(session, path, &held)) return Fail(progress, error);
  // The downloader takes a path with a drive as it is; one on a server it puts together itself.
  const bool has_drive = path.find(L':') != path.npos;
  return Fetch(progress, *url, *folder, has_drive ? util::WithBackslash(*folder) + *name : *name);
}

// True when the file is whole and in its place.
bool Download(PrerequisiteManager* manager, const Prerequisite& prerequisite) {
  const msi::InstallerSession& session = manager->session();
  ProgressReporter& progress = manager->progress();
  if (util::FileExists(prerequisite.file_path)) {
    progress.BeginItem();
    progress.FinishItem();
    LogAbout(session, prerequisite, L"is not downloaded: it is there, ", prerequisite.file_path);
    msi::SendActionDataDone(session, prerequisite.display_name);
    return true;
  }
  const uint32_t result = Fetch(manager, prerequisite);
  LogResult(session, prerequisite, result);
  if (result != NO_ERROR) return false;
  msi::SendActionDataDone(session, prerequisite.display_name);
  return !progress.IsCancelled();
}

// Whether the row counts for the bar. Tells the log about one that is not downloaded.
bool IsToDownload(const msi::InstallerSession& session, const Prerequisite& prerequisite) {
  if (!IsDownloaded(prerequisite)) return false;
  const wchar_t* const reason = ReasonToPassOver(session, prerequisite);
  if (reason != nullptr) {
    LogAbout(session, prerequisite, kPassedOver, reason);
  }
  return reason == nullptr;
}

}  // namespace

ActionEnd RunDownloadPhase(PrerequisiteManager* manager) {
  const msi::InstallerSession& session = manager->session();
  ProgressReporter& progress = manager->progress();
  manager->Announce(kDownloadAction);
  const std::vector<Prerequisite> prerequisites = LoadPrerequisites(session);
  for (const Prerequisite& one : prerequisites) {
    if (IsToDownload(session, one)) progress.Start(1, /*accumulate=*/true);
  }
  if (progress.item_count() == 0) return ActionEnd::kDone;

  PrepareFolderList(session);
  for (const Prerequisite& one : prerequisites) {
    if (!IsSelected(session, one)) continue;
    const bool succeeded = !IsDownloaded(one) || Download(manager, one);
    // The installation goes on: the missing file is noticed when it is to be run.
    if (!succeeded && one.is_mandatory) return ActionEnd::kDone;
    if (progress.IsCancelled()) return ActionEnd::kDone;
    if (IsDownloaded(one) && !SetupFileMatches(session, one) && !AskAboutWrongFile(session, one)) {
      return ActionEnd::kRefused;
    }
  }
  return ActionEnd::kDone;
}

}  // namespace prereq
