#include "prereq/extract_progress_server.h"

#include <algorithm>

#include "contract/extraction.h"
#include "msi/messages.h"
#include "prereq/progress_reporter.h"
#include "prereq/work_folders.h"
#include "util/text.h"

namespace prereq {
namespace {

constexpr uint32_t kTotalTicks = ProgressReporter::kTotalTicks;
// The longest step that a progress record can hold.
constexpr uint32_t kMostTicks = 0x7FFFFFFF;

constexpr UINT kErrorWithRetryCancel = INSTALLMESSAGE_ERROR | MB_RETRYCANCEL;

// A made-up number of bytes can be anything; without a total there is nothing to divide by.
uint32_t TicksOf(int64_t bytes, double bytes_per_tick) {
  if (bytes_per_tick == 0.0) return 0;
  const double ticks = static_cast<double>(bytes) / bytes_per_tick;
  if (!(ticks > 0.0)) return 0;
  return ticks < kMostTicks ? static_cast<uint32_t>(ticks) : kMostTicks;
}

// Bytes that the user may still write to the drive of a path; 0 when it cannot be asked.
int64_t FreeBytes(const std::wstring& path) {
  const std::string root = util::ToAnsi(std::wstring_view(path).substr(0, 3));
  ULARGE_INTEGER available = {};
  if (!::GetDiskFreeSpaceExA(root.c_str(), &available, nullptr, nullptr)) return 0;
  return static_cast<int64_t>(available.QuadPart);
}

std::wstring InKilobytes(int64_t bytes) { return util::ToSignedDecimal(bytes / 1024); }

}  // namespace

void ExtractProgressServer::Serve() {
  int32_t kind = 0;
  while (channel_->ReceiveInteger(&kind)) {
    channel_->Acknowledge();
    Handle(kind);
  }
  if (total_bytes_ > 0 && reported_ticks_ < kTotalTicks) Advance(kTotalTicks - reported_ticks_);
}

void ExtractProgressServer::Handle(int32_t kind) {
  using contract::MessageKind;
  switch (static_cast<MessageKind>(kind)) {
    case MessageKind::kTotal:
      return OnTotal();
    case MessageKind::kProgress:
      return OnProgress();
    case MessageKind::kOutOfDiskSpace:
      return OnOutOfDiskSpace();
    case MessageKind::kGroupStart:
      return OnGroupStart();
    case MessageKind::kFile:
      return OnFile();
    default:
      (void)channel_->Receive();  // Kinds that later setup executables may send.
      channel_->Acknowledge();
  }
}

void ExtractProgressServer::OnTotal() {
  if (!channel_->ReceiveInteger64(&total_bytes_)) return;
  bytes_per_tick_ = static_cast<double>(total_bytes_) / kTotalTicks;
  last_answer_ = msi::SendProgressReset(session_, kTotalTicks);
  AnswerUnlessCancelled();
}

void ExtractProgressServer::OnProgress() {
  int64_t bytes = 0;
  if (!channel_->ReceiveInteger64(&bytes)) return;
  current_ticks_ = TicksOf(bytes, bytes_per_tick_);
  if (current_ticks_ > reported_ticks_) Advance(current_ticks_ - reported_ticks_);
  AnswerUnlessCancelled();
}

void ExtractProgressServer::OnOutOfDiskSpace() {
  std::wstring path = channel_->Receive();
  if (path.starts_with(L"\\\\?\\")) path.erase(0, 4);
  channel_->Acknowledge();
  int64_t required = 0;
  if (!channel_->ReceiveInteger64(&required)) return;

  // Compatibility: of the required kilobytes only the low 32 bits are shown.
  const std::wstring required_kb = util::ToDecimal(static_cast<uint32_t>(required / 1024));
  int64_t available = FreeBytes(path);
  msi::MessageRecord prompt(4);
  prompt.Set(1, kOutOfDiskSpaceText).Set(2, path).Set(3, required_kb);
  do {
    // What is answered here is no answer to a progress message.
    if (prompt.Set(4, InKilobytes(available)).Send(session_, kErrorWithRetryCancel) != IDRETRY) {
      return channel_->Refuse();
    }
    available = FreeBytes(path);
  } while (available < required);
  channel_->Acknowledge();
}

void ExtractProgressServer::OnGroupStart() {
  int32_t id = 0;
  if (!channel_->ReceiveInteger(&id)) return;
  channel_->Acknowledge();
  const auto found = std::find_if(groups_.begin(), groups_.end(),
                                  [id](const ExtractGroup& group) { return group.id == id; });
  if (found == groups_.end()) return;
  msi::SendActionData(session_, found->prerequisite->display_name);
}

void ExtractProgressServer::OnFile() {
  const std::wstring path = channel_->Receive();
  channel_->Acknowledge();
  AppendToFileList(session_, path);
  msi::Log(session_, {L"was unpacked: ", path});
}

void ExtractProgressServer::AnswerUnlessCancelled() {
  if (IsCancelled()) {
    channel_->Refuse();
  } else {
    channel_->Acknowledge();
  }
}

void ExtractProgressServer::Advance(uint32_t ticks) {
  last_answer_ = msi::SendProgressIncrement(session_, static_cast<int>(ticks));
  reported_ticks_ = current_ticks_;
}

}  // namespace prereq
