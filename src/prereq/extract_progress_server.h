#ifndef PREREQ_EXTRACT_PROGRESS_SERVER_H_
#define PREREQ_EXTRACT_PROGRESS_SERVER_H_

#include <windows.h>

#include <cstdint>
#include <vector>

#include "msi/session.h"
#include "prereq/rows.h"
#include "util/pipe_channel.h"

namespace prereq {

// In the package's `Error` table.
inline constexpr int kOutOfDiskSpaceText = 1601;

// A prerequisite that the setup executable is asked to unpack.
struct ExtractGroup {
  int32_t id;
  const Prerequisite* prerequisite;  // Borrowed.
};

// Listens to the setup executable while it unpacks, and tells the installer: progress, names of
// prerequisites, lack of disk space. Files that it wrote go on the list for the clean-up. What it
// says is not trusted: numbers out of range and unknown names change nothing but the bar. Used only
// on the thread that entered the custom action.
class ExtractProgressServer {
 public:
  // All borrowed. The channel is a server's; one that is not open ends the talk at once.
  ExtractProgressServer(const msi::InstallerSession& session, util::PipeChannel* channel,
                        const std::vector<ExtractGroup>& groups)
      : session_(session), channel_(channel), groups_(groups) {}

  // Serves the setup executable until it says that it is done, and then fills the bar. There is no
  // other end: whoever unpacks has to say so, also after a failure.
  void Serve();

  // True when the last progress message was answered with Cancel.
  [[nodiscard]] bool IsCancelled() const { return last_answer_ == IDCANCEL; }

 private:
  void Handle(int32_t kind);
  void OnTotal();
  void OnProgress();
  void OnOutOfDiskSpace();
  void OnGroupStart();
  void OnFile();
  void AnswerUnlessCancelled();
  void Advance(uint32_t ticks);

  const msi::InstallerSession& session_;
  util::PipeChannel* channel_;
  const std::vector<ExtractGroup>& groups_;
  int64_t total_bytes_ = 0;  // 0 until it is announced.
  uint32_t current_ticks_ = 0;
  uint32_t reported_ticks_ = 0;
  double bytes_per_tick_ = 0.0;
  int32_t last_answer_ = IDOK;  // To the last progress message.
};

}  // namespace prereq

#endif  // PREREQ_EXTRACT_PROGRESS_SERVER_H_
