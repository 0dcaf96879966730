#ifndef DOWNLOAD_DOWNLOAD_LISTENER_H_
#define DOWNLOAD_DOWNLOAD_LISTENER_H_

#include <cstdint>
#include <string>

namespace download {

// What OnState() gets.
inline constexpr uint32_t kTransferStarting = 1;
inline constexpr uint32_t kStepCompleted = 2;  // A connect or open step.
inline constexpr uint32_t kReadCompleted = 3;
inline constexpr uint32_t kDialogClosed = 4;
inline constexpr uint32_t kDialogShown = 5;           // About to be.
inline constexpr uint32_t kWindowForCertificate = 6;  // The hidden parent window is wanted visible,
inline constexpr uint32_t kWindowForCredentials = 7;  // for a dialog about one of these.

// Follows and steers a transfer. Called on the transfer's worker thread, `OnState` also on threads
// of WinINet; every call must return quickly. The downloader does not own its
// listener. The operations keep this order, which is the interface's binary form.
class DownloadListener {
 public:
  // The caller's own; the downloader never calls it.
  virtual void Start(uint32_t count, bool accumulate) = 0;
  // Once a transfer, after the server answered. `total_bytes` is 0 when the length is unknown.
  virtual void OnFileInfo(uint32_t total_bytes, const std::string& local_path) = 0;
  // The file is complete, or was already. `one` is always 1.
  virtual void OnComplete(uint32_t one) = 0;
  // One of the numbers above; not while a dropped transfer is being reopened.
  virtual void OnState(uint32_t state) = 0;
  // First the bytes already present (0 for a fresh file), then the size of each chunk written.
  virtual void OnProgress(uint32_t bytes) = 0;
  // True ends the transfer and keeps the partial file for a resume.
  virtual bool IsCancelled() = 0;
  virtual bool IsPaused() = 0;
  // The transfer failed with `code`; a cancel is not reported. `reserved` is always 0.
  virtual void OnError(uint32_t reserved, uint32_t code) = 0;

 protected:
  ~DownloadListener() = default;
};

// Results of a transfer beside 0 and the numbers of GetLastError().
inline constexpr uint32_t kNoLocalName = 0xE0000005;  // No place on disk could be made out.
inline constexpr uint32_t kCancelled = 0xE0000008;    // By the listener or the destructor.
inline constexpr uint32_t kEndedShort = 0xE000000F;   // On a scheme that cannot be continued.
// The server's file is not larger than what is there.
inline constexpr uint32_t kAlreadyComplete = 0xE0000010;
inline constexpr uint32_t kAuthenticationRequired = 0xE0000012;  // 401, 407, and no credentials.
inline constexpr uint32_t kNotModified = 0xE0000013;             // 304.
inline constexpr uint32_t kForbidden = 0xE0000016;               // 403.
inline constexpr uint32_t kNotFound = 0xE0000018;                // 404, 410.

}  // namespace download

#endif  // DOWNLOAD_DOWNLOAD_LISTENER_H_
