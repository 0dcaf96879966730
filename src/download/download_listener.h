#ifndef DOWNLOAD_DOWNLOAD_LISTENER_H_
#define DOWNLOAD_DOWNLOAD_LISTENER_H_

#include <cstdint>
#include <string>

namespace download {

// Follows and steers a transfer. Called on the transfer's worker thread, `OnState` also on threads
// of the internet library; every call must return quickly. The downloader does not own its
// listener. The order of the operations is part of the contract.
class DownloadListener {
 public:
  // The caller's own; the downloader never calls it.
  virtual void Start(uint32_t count, bool accumulate) = 0;
  // Once a transfer, after the server answered. `total_bytes` is 0 when the length is unknown.
  virtual void OnFileInfo(uint32_t total_bytes, const std::string& local_path) = 0;
  // The file is complete, or was already.
  virtual void OnComplete(uint32_t one) = 0;
  // 1 transfer starting; 2 a connect or open step completed; 3 a read completed; 5 a dialog is
  // about to be shown; 4 it is closed; 6 and 7 the hidden parent window is wanted, for a
  // certificate dialog (6) or a credential prompt (7).
  virtual void OnState(uint32_t state) = 0;
  // First the bytes already present (0 for a fresh file), then the size of each chunk written.
  virtual void OnProgress(uint32_t bytes) = 0;
  // True ends the transfer and keeps the partial file for a resume.
  virtual bool IsCancelled() = 0;
  virtual bool IsPaused() = 0;
  // The transfer failed with `code`; a cancel is not reported.
  virtual void OnError(uint32_t reserved, uint32_t code) = 0;

 protected:
  ~DownloadListener() = default;
};

// Results of a transfer beside 0 and the numbers of GetLastError().
inline constexpr uint32_t kNoLocalName = 0xE0000005;
inline constexpr uint32_t kCancelled = 0xE0000008;
inline constexpr uint32_t kEndedShort = 0xE000000F;
inline constexpr uint32_t kAlreadyComplete = 0xE0000010;
inline constexpr uint32_t kAuthenticationRequired = 0xE0000012;
inline constexpr uint32_t kNotModified = 0xE0000013;
inline constexpr uint32_t kForbidden = 0xE0000016;
inline constexpr uint32_t kNotFound = 0xE0000018;

}  // namespace download

#endif  // DOWNLOAD_DOWNLOAD_LISTENER_H_
