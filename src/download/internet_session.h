#ifndef DOWNLOAD_INTERNET_SESSION_H_
#define DOWNLOAD_INTERNET_SESSION_H_

#include <windows.h>
#include <wininet.h>

#include <cstdint>
#include <string>

#include "download/async_link.h"
#include "download/transfer_state.h"
#include "download/url.h"
#include "download/wininet.h"

namespace download {

// One worker's asynchronous session with WinINet: at most one connection and, on it,
// one request or file. Each operation blocks until it completes or the transfer is cancelled, which
// it looks for every 10 ms, and answers 0, the library's error or kCancelled; after the last only
// the destructor may follow. Used on one thread.
class InternetSession {
 public:
  // A session that the library refuses is not reported here: the operations then fail with the
  // library's own errors.
  explicit InternetSession(TransferState* state);
  InternetSession(const InternetSession&) = delete;
  InternetSession& operator=(const InternetSession&) = delete;
  // Closes request, connection and session, in this order.
  ~InternetSession();

  // The new connection takes the place of the one before it.
  [[nodiscard]] uint32_t Connect(const UrlParts& url, const std::string& user,
                                 const std::string& password, DWORD service, DWORD flags);
  [[nodiscard]] uint32_t OpenRequest(const char* verb, const std::string& object, DWORD flags);
  [[nodiscard]] uint32_t Send(const std::string& headers);
  // Fetches the server's last response text when it fails.
  [[nodiscard]] uint32_t OpenFtpFile(const std::string& path);
  // The low word of the file's size as the server lists it, 0 when it cannot be told.
  [[nodiscard]] uint32_t FindFtpFileSize(const std::string& path, uint32_t* size);
  // The low word of the open file's size, 0 when the server or this version of the library does not
  // tell.
  [[nodiscard]] uint32_t FtpFileSize() const;

  // How many bytes can be read without waiting; 0 at the end of the data.
  [[nodiscard]] uint32_t QueryAvailable(DWORD* count);
  // Reads at most `limit` and at most AsyncLink::kBufferBytes bytes into data().
  [[nodiscard]] uint32_t Read(DWORD limit, DWORD* count);
  [[nodiscard]] const char* data() const { return link_->buffer(); }

  // Null without one.
  [[nodiscard]] HINTERNET request() const { return request_; }
  // Waits until the library is done with it, up to two seconds.
  void CloseRequest();
  // For whoever else waits for the completion event.
  void SignalCompletion() { link_->SignalCompletion(); }

 private:
  // Runs `call`, which answers a handle or a BOOL, to its end.
  template <typename Call>
  uint32_t Run(Operation operation, Call call);
  uint32_t Complete(Operation operation, DWORD_PTR at_once, DWORD error);
  void CloseAwaited(HINTERNET handle);

  [[nodiscard]] DWORD_PTR context() const { return reinterpret_cast<DWORD_PTR>(link_); }

  TransferState* state_;
  AsyncLink* link_;  // One reference is the session's.
  UniqueInternetRoot root_;
  UniqueInternet connection_;
  HINTERNET request_ = nullptr;  // Owned; closed by CloseRequest().
  bool stuck_ = false;           // The library did not give a closed handle's call up.
};

}  // namespace download

#endif  // DOWNLOAD_INTERNET_SESSION_H_
