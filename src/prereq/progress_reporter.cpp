#include "prereq/progress_reporter.h"

#include "msi/messages.h"
#include "util/error_text.h"

namespace prereq {
namespace {

constexpr DWORD kInternetLoginFailure = 12015;
constexpr DWORD kInternetTimeout = 12002;

// The downloader's own codes have no system text; the nearest ones that do stand in for them.
DWORD ShownCode(uint32_t code) {
  switch (code) {
    case download::kAuthenticationRequired:
      return kInternetLoginFailure;
    case download::kNotFound:
      return kInternetTimeout;
    default:
      return code;
  }
}

// The whole part of a count that cannot be negative; one beyond 32 bits is the largest there is.
uint32_t Truncate(double count) {
  return count < 4294967295.0 ? static_cast<uint32_t>(count) : 0xFFFFFFFF;
}

}  // namespace

void ProgressReporter::Start(uint32_t count, bool accumulate) {
  if (accumulate && item_count_ != 0) {
    item_count_ += count;
    return;
  }
  last_answer_ = msi::SendProgressReset(session_, kTotalTicks);
  item_count_ = count;
}

void ProgressReporter::OnFileInfo(uint32_t total_bytes, const std::string& /*local_path*/) {
  ticks_per_item_ = item_count_ != 0 ? kTotalTicks / item_count_ : 0;
  ticks_per_byte_ = total_bytes != 0 ? static_cast<double>(ticks_per_item_) / total_bytes : 0.0;
  item_ticks_ = 0;
  item_bytes_ = 0;
  counted_bytes_ = 0;
}

void ProgressReporter::OnComplete(uint32_t /*one*/) {
  if (ticks_per_item_ > item_ticks_) Advance(ticks_per_item_ - item_ticks_);
}

void ProgressReporter::OnState(uint32_t /*state*/) {}

void ProgressReporter::OnProgress(uint32_t bytes) {
  item_bytes_ += bytes;
  const uint32_t ticks = Truncate((item_bytes_ - counted_bytes_) * ticks_per_byte_);
  if (ticks < 1) return;
  counted_bytes_ = item_bytes_;
  item_ticks_ += ticks;
  Advance(ticks);
}

void ProgressReporter::OnError(uint32_t /*reserved*/, uint32_t code) {
  std::wstring text = util::ErrorText(ShownCode(code));
  if (error_note_) text += L"\r\n" + *error_note_;
  msi::MessageRecord(2).Set(0, msi::AsTemplate(text)).Send(session_, INSTALLMESSAGE_ERROR);
}

void ProgressReporter::Ignore(uint32_t /*first*/, uint32_t /*second*/, uint32_t /*third*/) {}

void ProgressReporter::Advance(uint32_t ticks) {
  last_answer_ = msi::SendProgressIncrement(session_, static_cast<int>(ticks));
}

}  // namespace prereq
