#ifndef PREREQ_PROGRESS_REPORTER_H_
#define PREREQ_PROGRESS_REPORTER_H_

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

#include "download/download_listener.h"
#include "msi/session.h"

namespace prereq {

// The installer's progress bar for one phase: 4096 ticks, shared evenly by the items. Each
// operation sends at most one progress message; what the last one answered tells whether the user
// cancelled. Counts wrap round at 32 bits. Used only on the thread that entered the custom action.
class ProgressReporter final : public download::DownloadListener {
 public:
  static constexpr uint32_t kTotalTicks = 4096;

  // The session is borrowed.
  explicit ProgressReporter(const msi::InstallerSession& session) : session_(session) {}

  // Sets the number of items and resets the bar. With `accumulate` a count that is not 0 already is
  // added to instead, and nothing is sent.
  void Start(uint32_t count, bool accumulate) override;
  // An item of that many bytes begins; of an unknown length (0) the bar moves when it is finished.
  void OnFileInfo(uint32_t total_bytes, const std::string& local_path) override;
  // Moves the bar by what is left of the item's share.
  void OnComplete(uint32_t one) override;
  void OnState(uint32_t state) override;
  void OnProgress(uint32_t bytes) override;
  bool IsCancelled() override { return last_answer_ == IDCANCEL; }
  bool IsPaused() override { return false; }
  // Shows the text of an error number of the system, WinINet or the downloader.
  void OnError(uint32_t reserved, uint32_t code) override;
  // Does nothing, and nobody calls it; kept as part of the reporter's table of operations.
  virtual void Ignore(uint32_t first, uint32_t second, uint32_t third);

  // An item without a transfer. It counts as one byte, which never comes: its whole share of the
  // bar is granted when it finishes.
  void BeginItem() { OnFileInfo(1, {}); }
  void FinishItem() { OnComplete(1); }

  // Moves nothing: the answer tells whether the user has cancelled meanwhile.
  void LookForCancel() { Advance(0); }

  // A second line for the messages of OnError.
  void SetErrorNote(std::wstring note) { error_note_ = std::move(note); }

  [[nodiscard]] uint32_t item_count() const { return item_count_; }

 private:
  void Advance(uint32_t ticks);

  uint32_t item_count_ = 0;
  uint32_t ticks_per_item_ = 0;
  uint32_t item_ticks_ = 0;     // Of the current item, already on the bar.
  uint32_t item_bytes_ = 0;     // Of the current item, done.
  uint32_t counted_bytes_ = 0;  // Of those, already turned into ticks.
  double ticks_per_byte_ = 0.0;
  int32_t last_answer_ = IDOK;
  const msi::InstallerSession& session_;
  std::optional<std::wstring> error_note_;
};

}  // namespace prereq

#endif  // PREREQ_PROGRESS_REPORTER_H_
