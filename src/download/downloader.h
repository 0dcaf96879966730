#ifndef DOWNLOAD_DOWNLOADER_H_
#define DOWNLOAD_DOWNLOADER_H_

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

#include "download/credential_provider.h"
#include "download/download_listener.h"
#include "download/transfer_state.h"
#include "util/unique_handle.h"

namespace download {

// Fetches one file from an http, https or ftp URL into a folder, on a worker thread of its own. All
// texts are in the ANSI code page. Result codes are 0, a number of GetLastError() or one of the
// codes in download_listener.h. The operations belong on one thread, the caller's; one worker runs
// at a time, and nothing but the destructor may be called before it has ended.
class Downloader {
 public:
  // Listener and provider may be null and are not owned; they must outlive the downloader.
  Downloader(std::string target_folder, DownloadListener* listener,
             CredentialProvider* credentials);
  // Without a folder, for questions about a URL.
  Downloader(DownloadListener* listener, CredentialProvider* credentials);
  Downloader(const Downloader&) = delete;
  Downloader& operator=(const Downloader&) = delete;
  // Makes a running worker give up and waits for it. One that hangs for a minute is ended by force.
  ~Downloader();

  // The proxy to use, in place of the system's settings; empty for those.
  void SetProxy(std::string proxy) { state_->request.proxy = std::move(proxy); }
  [[nodiscard]] const std::string& GetProxy() const { return state_->request.proxy; }

  // Downloads `url`. `file_name` is the local name, or a full path; an empty one is made from the
  // URL. `parent` owns the dialogs; null means the desktop. `resume` keeps and continues an earlier
  // partial file. `extra_headers` are whole HTTP header lines; null for none. With `wait` the
  // result of the transfer is answered when it has ended, else 0 at once, and the result is the
  // exit code of GetThread(). An error code also when the worker could not be started.
  uint32_t Start(const std::string& url, const std::string& file_name, HWND parent, bool resume,
                 bool wait, const char* extra_headers, bool want_last_modified);

  // Asks an HTTP server what it calls the file, and waits for the answer. `name` is empty when the
  // server does not say, and stays as it is on failure and for a URL of another kind. Fewer retries
  // from here on.
  uint32_t ResolveFileName(const std::string& url, std::string* name);

  // True when the server has what `url` names. Works on the calling thread, with the system's proxy
  // settings, without credentials.
  static bool ProbeUrl(const std::string& url);

  // True when the server of `url` can be connected to.
  static bool IsReachable(const std::string& url);

  // The time that the server gave, if Start() was asked for it; all zero without one.
  void GetLastModified(SYSTEMTIME* time) const { *time = state_->outcome.last_modified; }
  // The worker's thread, to wait for, borrowed; null without one.
  [[nodiscard]] HANDLE GetThread() const { return thread_.Get(); }
  // How often a server that cannot be connected to is tried again. A negative number is final.
  void SetRetries(int32_t retries) {
    if (state_->request.retries >= 0) state_->request.retries = retries;
  }
  // What ended the last transfer, and the text of the server's last response.
  [[nodiscard]] uint32_t last_error() const { return state_->outcome.last_error; }
  [[nodiscard]] const std::string& server_response() const {
    return state_->outcome.server_response;
  }

 private:
  uint32_t StartWorker(LPTHREAD_START_ROUTINE worker);
  uint32_t WaitForWorker();

  std::unique_ptr<TransferState> state_;
  util::UniqueKernelHandle thread_;
};

}  // namespace download

#endif  // DOWNLOAD_DOWNLOADER_H_
