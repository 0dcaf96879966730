#include "prereq/download_phase.h"

#include "download/downloader.h"
#include "msi/messages.h"
#include "prereq/file_check.h"
#include "prereq/listener_relay.h"
#include "prereq/prompts.h"
#include "prereq/rows.h"
#include "prereq/work_folders.h"
#include "util/files.h"
#include "util/text.h"

namespace prereq {
namespace {

bool IsDownloaded(const Prerequisite& prerequisite) {
  return prerequisite.location == Location::kDownloaded;
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

uint32_t Fetch(PrerequisiteManager* manager, const Prerequisite& prerequisite) {
  const msi::InstallerSession& session = manager->session();
  const std::wstring& path = prerequisite.file_path;
  // The downloader takes a path with a drive as it is; one on a server it puts together itself.
  const std::wstring& target = path.find(L':') != path.npos ? path : prerequisite.file_name;
  // The downloader works in the ANSI code page.
  const std::string folder = util::ToAnsi(DownloadFolder(session));
  const std::string ansi_target = util::ToAnsi(target);
  // Without a folder the downloader would use the current one, without a name one of its own, and
  // no clean-up would find the file.
  if (path.empty() || folder.empty() || ansi_target.empty()) {
    return Fail(&manager->progress(), download::kNoLocalName);
  }
  // Before the transfer, so that the clean-up finds what is left of a broken one too.
  AppendToFileList(session, path);
  return Fetch(&manager->progress(), util::ToAnsi(prerequisite.url), folder, ansi_target);
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
  if (Fetch(manager, prerequisite) != NO_ERROR) return false;
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
