#include "download/transfer.h"

#include <winsock2.h>

#include <algorithm>
#include <optional>

#include "download/open_request.h"
#include "download/url.h"

namespace download {
namespace {

constexpr int32_t kMostDoublings = 6;

// The connection is gone, the server need not be.
bool IsDropped(uint32_t error) {
  switch (error) {
    case ERROR_INTERNET_TIMEOUT:
    case ERROR_INTERNET_CONNECTION_ABORTED:
    case ERROR_INTERNET_CONNECTION_RESET:
    case ERROR_INTERNET_DISCONNECTED:
    case WSAECONNRESET:  // What Wine says for the third; Windows never answers it.
      return true;
    default:
      return false;
  }
}

}  // namespace

uint32_t Transfer::Run() {
  INTERNET_SCHEME scheme = INTERNET_SCHEME_UNKNOWN;
  if (const uint32_t error = CheckScheme(state_->request.url, &scheme)) return Report(error);
  is_http_ = IsHttp(scheme);
  const std::string target =
      LocalPath(state_->request.url, state_->request.target_folder, state_->request.file_name);
  if (target.empty()) return Report(kNoLocalName);
  file_ = PartialFile(target);
  state_->SendState(kTransferStarting);

  const OpenResult opened = Open(state_->request.resume ? file_.ReadOldSize() : 0);
  if (state_->IsCancelled()) return kCancelled;
  if (opened.result == kNotModified) return opened.result;
  if (opened.result != NO_ERROR) return Report(opened.result);
  size_ = opened.size;

  if (state_->control.listener != nullptr) state_->control.listener->OnFileInfo(size_, target);
  if (state_->IsCancelled()) return NO_ERROR;
  if (const uint32_t failed = PrepareFile(opened.start)) return Report(failed);
  SendProgress(opened.start);
  return ReadAll();
}

OpenResult Transfer::Open(uint32_t present) {
  return RetryConnecting(
      *state_, [&] { return OpenRequest(&session_, state_, state_->request.url, present, "GET"); });
}

uint32_t Transfer::PrepareFile(uint32_t start) {
  if (const uint32_t error = file_.MakeFolders()) return error;
  const uint32_t error = file_.Open(/*go_on=*/start > 0);
  return error != NO_ERROR && state_->IsCancelled() ? kCancelled : error;
}

uint32_t Transfer::ReadAll() {
  for (;;) {
    DWORD count = 0;
    uint32_t error = ReadChunk(&count);
    if (error == NO_ERROR && count != 0) {
      if (const uint32_t failed = file_.Write(session_.data(), count)) return Report(failed);
      idle_reconnects_ = 0;
      SendProgress(count);
      state_->WaitWhilePaused();
      if (state_->IsCancelled()) return NO_ERROR;
      continue;
    }
    if (error == NO_ERROR) {
      // One whose size cannot be told is not taken for complete.
      if (size_ == 0 || file_.Size().value_or(0) >= size_) return Finish();
      if (!is_http_) return Report(kEndedShort);
      error = Reconnect(ERROR_INTERNET_TIMEOUT);
    } else if (is_http_ && IsDropped(error)) {
      error = Reconnect(error);
    }
    if (error != NO_ERROR) return Report(error);
  }
}

// A count of 0 without an error is the end of the data.
uint32_t Transfer::ReadChunk(DWORD* count) {
  DWORD available = 0;
  const uint32_t error = session_.QueryAvailable(&available);
  if (error != NO_ERROR || available == 0) return error;
  return session_.Read(available, count);
}

// Opens the transfer again where it broke off. Without resume, or with a server that does not
// continue, that cannot succeed once there are bytes in the file. A server that drops again and
// again without a byte is given time to come back, 100 ms first and twice as long each time, and
// then given up with what made it necessary.
uint32_t Transfer::Reconnect(uint32_t reason) {
  const int32_t idle = idle_reconnects_++;
  if (idle > std::max(state_->request.retries, 0)) return reason;
  session_.CloseRequest();
  if (idle != 0 && !WaitTenths(*state_, 1u << std::min(idle - 1, kMostDoublings))) {
    return kCancelled;
  }
  const std::optional<uint64_t> size = file_.FlushedSize();
  // Unknown, or beyond the 32 bits of positions.
  if (!size || *size > 0xFFFFFFFF) return ERROR_INTERNET_TIMEOUT;
  state_->control.reconnecting = true;
  const OpenResult opened = Open(state_->request.resume ? static_cast<uint32_t>(*size) : 0);
  state_->control.reconnecting = false;
  if (opened.result != NO_ERROR) return opened.result;
  size_ = opened.size;
  return *size != 0 && opened.start != *size ? ERROR_INTERNET_TIMEOUT : NO_ERROR;
}

uint32_t Transfer::Finish() {
  file_.Finish();
  SendComplete();
  session_.SignalCompletion();
  return NO_ERROR;
}

uint32_t Transfer::Report(uint32_t error) {
  if (error != kCancelled && state_->control.listener != nullptr)
    state_->control.listener->OnError(0, error);
  return error;
}

void Transfer::SendProgress(uint32_t bytes) {
  if (state_->control.listener != nullptr) state_->control.listener->OnProgress(bytes);
}

void Transfer::SendComplete() {
  if (state_->control.listener != nullptr) state_->control.listener->OnComplete(1);
}

}  // namespace download
