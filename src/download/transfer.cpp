#include "download/transfer.h"

#include <winsock2.h>

#include <optional>

#include "download/open_request.h"
#include "download/url.h"

namespace download {
namespace {

// The connection is gone, the server need not be.
bool IsDropped(uint32_t error) {
  switch (error) {
    case ERROR_INTERNET_TIMEOUT:
    case ERROR_INTERNET_CONNECTION_ABORTED:
    case ERROR_INTERNET_CONNECTION_RESET:
    case ERROR_INTERNET_DISCONNECTED:
    case WSAECONNRESET:  // What Wine says for the third; the library proper never answers it.
      return true;
    default:
      return false;
  }
}

}  // namespace

uint32_t Transfer::Run() {
  INTERNET_SCHEME scheme = INTERNET_SCHEME_UNKNOWN;
  if (const uint32_t error = CheckScheme(state_->url, &scheme)) return Report(error);
  is_http_ = IsHttp(scheme);
  const std::string target = LocalPath(state_->url, state_->target_folder, state_->file_name);
  if (target.empty()) return Report(kNoLocalName);
  file_ = PartialFile(target);
  state_->SendState(kTransferStarting);

  uint32_t offset = state_->resume ? file_.ReadOldSize() : 0;
  const uint32_t error = Open(&offset);
  if (state_->IsCancelled()) return kCancelled;
  if (error == kNotModified) return error;
  if (error != NO_ERROR) return Report(error);

  if (state_->listener != nullptr) state_->listener->OnFileInfo(size_, target);
  if (state_->IsCancelled()) return NO_ERROR;
  if (size_ != 0 && size_ == offset) {
    // Kept, though no server brings a transfer here: opening calls such a file complete already.
    SendComplete();
    return NO_ERROR;
  }
  if (const uint32_t failed = PrepareFile(offset)) return Report(failed);
  SendProgress(offset);
  return ReadAll();
}

uint32_t Transfer::Open(uint32_t* offset) {
  const uint32_t wanted = *offset;
  return RetryConnecting(*state_, [&] {
    *offset = wanted;  // A failed attempt clears it.
    return OpenRequest(&session_, state_, state_->url, offset, &size_, "GET");
  });
}

uint32_t Transfer::PrepareFile(uint32_t offset) {
  if (const uint32_t error = file_.MakeFolders()) return error;
  const uint32_t error = file_.Open(/*go_on=*/offset > 0);
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
// again without a byte is given up with what made it necessary.
uint32_t Transfer::Reconnect(uint32_t reason) {
  if (idle_reconnects_++ > state_->retries) return reason;
  session_.CloseRequest();
  const std::optional<uint64_t> size = file_.FlushedSize();
  // Unknown, or beyond the 32 bits of positions.
  if (!size || *size > 0xFFFFFFFF) return ERROR_INTERNET_TIMEOUT;
  uint32_t offset = state_->resume ? static_cast<uint32_t>(*size) : 0;
  state_->reconnecting = true;
  const uint32_t error = Open(&offset);
  state_->reconnecting = false;
  if (error != NO_ERROR) return error;
  return *size != 0 && offset != *size ? ERROR_INTERNET_TIMEOUT : NO_ERROR;
}

uint32_t Transfer::Finish() {
  file_.Finish();
  SendComplete();
  session_.SignalCompletion();
  return NO_ERROR;
}

uint32_t Transfer::Report(uint32_t error) {
  if (error != kCancelled && state_->listener != nullptr) state_->listener->OnError(0, error);
  return error;
}

void Transfer::SendProgress(uint32_t bytes) {
  if (state_->listener != nullptr) state_->listener->OnProgress(bytes);
}

void Transfer::SendComplete() {
  if (state_->listener != nullptr) state_->listener->OnComplete(1);
}

}  // namespace download
