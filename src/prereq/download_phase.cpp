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

bool IsDownloaded(const msi::TableRow& row) { return RowLocation(row) == kDownloadedLocation; }

// True when the file is whole and in its place. Errors were shown to the user.
bool Fetch(PrerequisiteManager* manager, const std::string& url, const std::string& folder,
           const std::string& path) {
  ListenerRelay relay(&manager->progress());
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

bool DownloadRow(PrerequisiteManager* manager, const msi::TableRow& row) {
  const std::wstring path = SetupFilePath(manager->session(), row);
  if (path.empty()) {
    // Without a folder the downloader would use the current one, and no clean-up would find it.
    manager->progress().OnError(0, download::kNoLocalName);
    return false;
  }
  if (util::FileExists(path)) {
    manager->progress().BeginItem();
    manager->progress().FinishItem();
    msi::SendActionDataDone(manager->install(), row.Get(L"DisplayName"));
    return true;
  }
  // Before the transfer, so that the clean-up finds what is left of a broken one too.
  AppendToFileList(manager->session(), path);
  // The downloader takes a path with a drive as it is; one on a server it puts together itself.
  const std::wstring target = path.find(L':') != std::wstring::npos ? path : SetupFileName(row);
  // The downloader works in the ANSI code page.
  if (!Fetch(manager, util::ToAnsi(row.Get(L"SetupFileUrl")),
             util::ToAnsi(DownloadFolder(manager->session())), util::ToAnsi(target))) {
    return false;
  }
  msi::SendActionDataDone(manager->install(), row.Get(L"DisplayName"));
  return !manager->progress().IsCancelled();
}

}  // namespace

uint32_t RunDownloadPhase(PrerequisiteManager* manager) {
  manager->Announce(kDownloadAction);
  msi::TableSnapshot rows(manager->install(), kPrerequisiteTable);
  LoadPrerequisites(&rows);
  for (const msi::TableRow& row : rows) {
    if (IsDownloaded(row) && IsSelected(manager->session(), row)) {
      manager->progress().Start(1, /*accumulate=*/true);
    }
  }
  if (manager->progress().item_count() == 0) return ERROR_SUCCESS;

  PrepareFolderList(manager->session());
  for (const msi::TableRow& row : rows) {
    if (!IsSelected(manager->session(), row)) continue;
    const bool succeeded = !IsDownloaded(row) || DownloadRow(manager, row);
    // The installation goes on: the missing file is noticed when it is to be run.
    if (!succeeded && HasOption(row, kMandatoryOption)) return ERROR_SUCCESS;
    if (manager->progress().IsCancelled()) return ERROR_SUCCESS;
    if (IsDownloaded(row) && !SetupFileMatches(row, SetupFilePath(manager->session(), row)) &&
        !AskAboutWrongFile(*manager, row)) {
      return static_cast<uint32_t>(msi::PromptAnswer::kStop);
    }
  }
  return ERROR_SUCCESS;
}

}  // namespace prereq
