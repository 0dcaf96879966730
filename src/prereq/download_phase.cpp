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

// True when the file is whole and in its place. Errors were shown to the user.
bool Fetch(ProgressReporter* progress, const std::string& url, const std::string& folder,
           const std::string& path) {
  ListenerRelay relay(progress);
  download::Downloader downloader(folder, &relay, /*credentials=*/nullptr);
  // This thread waits in the relay instead: it is needed for the messages.
  if (downloader.Start(url, path, /*parent=*/nullptr, /*resume=*/true, /*wait=*/false,
                       /*extra_headers=*/nullptr, /*want_last_modified=*/false) != NO_ERROR) {
    return false;
  }
  relay.Forward(downloader.GetThread());
  DWORD result = 0;
  return ::GetExitCodeThread(downloader.GetThread(), &result) && result == NO_ERROR;
}

bool Download(PrerequisiteManager* manager, const Prerequisite& prerequisite) {
  const msi::InstallerSession& session = manager->session();
  ProgressReporter& progress = manager->progress();
  const std::wstring& path = prerequisite.file_path;
  if (path.empty()) {
    // Without a folder the downloader would use the current one, and no clean-up would find it.
    progress.OnError(0, download::kNoLocalName);
    return false;
  }
  if (util::FileExists(path)) {
    progress.BeginItem();
    progress.FinishItem();
    msi::SendActionDataDone(session, prerequisite.display_name);
    return true;
  }
  // Before the transfer, so that the clean-up finds what is left of a broken one too.
  AppendToFileList(session, path);
  // The downloader takes a path with a drive as it is; one on a server it puts together itself.
  const std::wstring& target = path.find(L':') != path.npos ? path : prerequisite.file_name;
  // The downloader works in the ANSI code page.
  if (!Fetch(&progress, util::ToAnsi(prerequisite.url), util::ToAnsi(DownloadFolder(session)),
             util::ToAnsi(target))) {
    return false;
  }
  msi::SendActionDataDone(session, prerequisite.display_name);
  return !progress.IsCancelled();
}

}  // namespace

ActionEnd RunDownloadPhase(PrerequisiteManager* manager) {
  const msi::InstallerSession& session = manager->session();
  ProgressReporter& progress = manager->progress();
  manager->Announce(kDownloadAction);
  const std::vector<Prerequisite> prerequisites = LoadPrerequisites(session);
  for (const Prerequisite& one : prerequisites) {
    if (IsDownloaded(one) && IsSelected(session, one)) progress.Start(1, /*accumulate=*/true);
  }
  if (progress.item_count() == 0) return ActionEnd::kDone;

  PrepareFolderList(session);
  for (const Prerequisite& one : prerequisites) {
    if (!IsSelected(session, one)) continue;
    const bool succeeded = !IsDownloaded(one) || Download(manager, one);
    // The installation goes on: the missing file is noticed when it is to be run.
    if (!succeeded && one.is_mandatory) return ActionEnd::kDone;
    if (progress.IsCancelled()) return ActionEnd::kDone;
    if (IsDownloaded(one) && !SetupFileMatches(one, one.file_path) &&
        !AskAboutWrongFile(session, one)) {
      return ActionEnd::kRefused;
    }
  }
  return ActionEnd::kDone;
}

}  // namespace prereq
