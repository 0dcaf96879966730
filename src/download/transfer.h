#ifndef DOWNLOAD_TRANSFER_H_
#define DOWNLOAD_TRANSFER_H_

#include <windows.h>

#include <cstdint>
#include <string>

#include "download/partial_file.h"
#include "download/internet_session.h"
#include "download/transfer_state.h"

namespace download {

// One file on its way from the server to the disk: the body of the download worker. Needs the
// WinINet to be loaded.
class Transfer {
 public:
  explicit Transfer(TransferState* state) : state_(state), session_(state) {}

  // Answers the result code of the transfer: 0, an error number or one of the downloader's own
  // codes. An error was told to the listener, but for kCancelled and kNotModified. A cancel that
  // is noticed between two steps is a 0.
  uint32_t Run();

 private:
  OpenResult Open(uint32_t present);
  uint32_t Reconnect(uint32_t reason);
  uint32_t PrepareFile(uint32_t start);
  uint32_t ReadAll();
  uint32_t ReadChunk(DWORD* count);
  uint32_t Finish();
  uint32_t Report(uint32_t error);
  void SendProgress(uint32_t bytes);
  void SendComplete();

  TransferState* state_;
  InternetSession session_;
  PartialFile file_;
  bool is_http_ = false;
  int32_t idle_reconnects_ = 0;  // Since the last byte came.
  uint32_t size_ = 0;            // Of the whole file; 0 when unknown.
};

}  // namespace download

#endif  // DOWNLOAD_TRANSFER_H_
