#ifndef DOWNLOAD_TRANSFER_STATE_H_
#define DOWNLOAD_TRANSFER_STATE_H_

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "download/credential_provider.h"
#include "download/download_listener.h"

namespace download {

inline constexpr DWORD kPollMs = 10;

// What a downloader, its worker thread and the callbacks of the internet library share. The caller
// writes the request before the worker starts and reads the results after its end; in between all
// but `stop` belongs to the worker. Texts are in the ANSI code page.
struct TransferState {
  DownloadListener* listener = nullptr;  // Both may be null and are not owned.
  CredentialProvider* credentials = nullptr;

  // The request.
  std::string target_folder;
  std::string file_name;  // Asked for by the caller, or proposed by the server.
  std::string url;
  std::string proxy;  // Empty means the system's settings.
  std::optional<std::string> extra_headers;
  HWND parent = nullptr;
  int32_t retries = 6;  // Attempts to connect after the first.
  bool resume = false;
  bool want_last_modified = false;

  // The results.
  uint32_t last_error = 0;
  std::string server_response;
  SYSTEMTIME last_modified = {};

  // A dropped transfer is being reopened: the listener does not hear of its steps.
  std::atomic<bool> reconnecting{false};
  // Makes every wait give up. Set by the destructor of the downloader, never cleared.
  std::atomic<bool> stop{false};

  [[nodiscard]] bool IsCancelled() const {
    return stop || (listener != nullptr && listener->IsCancelled());
  }
  // Waits while the listener says so, not beyond a cancel nor, if given, beyond `done`.
  void WaitWhilePaused(const std::atomic<bool>* done = nullptr) const;
  void SendState(uint32_t state) const {
    if (listener != nullptr && !reconnecting) listener->OnState(state);
  }
  void SendConnecting() const {
    if (credentials != nullptr) credentials->OnConnecting();
  }
};

}  // namespace download

#endif  // DOWNLOAD_TRANSFER_STATE_H_
