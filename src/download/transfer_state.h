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

// What is to be fetched. Written by the caller before the worker starts, constant after it. Texts
// are in the ANSI code page.
struct TransferRequest {
  std::string target_folder;
  std::string file_name;  // Empty: made from the URL.
  std::string url;
  std::string proxy;  // Empty means the system's settings.
  std::optional<std::string> extra_headers;
  HWND parent = nullptr;
  int32_t retries = 6;  // Attempts to connect after the first.
  bool resume = false;
  bool want_last_modified = false;
};

// What came of it. The worker's until its end, the caller's from there on.
struct TransferOutcome {
  uint32_t last_error = 0;
  std::string proposed_name;  // By the server, when it was asked for one.
  std::string server_response;
  SYSTEMTIME last_modified = {};
};

// Who follows and steers a transfer while it runs.
struct TransferControl {
  DownloadListener* listener = nullptr;  // Both may be null and are not owned.
  CredentialProvider* credentials = nullptr;
  // A dropped transfer is being reopened: the listener does not hear of its steps.
  std::atomic<bool> reconnecting{false};
  // Makes every wait give up. Set by the destructor of the downloader, never cleared.
  std::atomic<bool> stop{false};
};

// What opening a transfer came to. `start` is the position at which the body starts, 0 when the
// server sends the whole file; `size` that of the whole file, 0 when the server does not say. Both
// count modulo 2^32.
struct OpenResult {
  uint32_t result = 0;
  uint32_t start = 0;
  uint32_t size = 0;
};

// What a downloader, its worker thread and the callbacks of WinINet share.
struct TransferState {
  TransferRequest request;
  TransferOutcome outcome;
  TransferControl control;

  [[nodiscard]] bool IsCancelled() const {
    return control.stop || (control.listener != nullptr && control.listener->IsCancelled());
  }
  // Waits while the listener says so, not beyond a cancel nor a true answer of `is_done`.
  template <typename IsDone>
  void WaitWhilePaused(IsDone is_done) const {
    while (control.listener != nullptr && control.listener->IsPaused()) {
      if (is_done() || IsCancelled()) return;
      ::Sleep(kPollMs);
    }
  }
  void WaitWhilePaused() const {
    WaitWhilePaused([] { return false; });
  }
  void SendState(uint32_t state) const {
    if (control.listener != nullptr && !control.reconnecting) control.listener->OnState(state);
  }
  void SendConnecting() const {
    if (control.credentials != nullptr) control.credentials->OnConnecting();
  }
};

}  // namespace download

#endif  // DOWNLOAD_TRANSFER_STATE_H_
