#ifndef TESTS_SUPPORT_HTTP_SERVER_H_
#define TESTS_SUPPORT_HTTP_SERVER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/socket_server.h"

namespace test {

struct HttpRequest {
  std::string method;
  std::string target;
  std::string version;
  std::string head;  // All of it.

  // Value of a header; empty without it.
  [[nodiscard]] std::string Header(const std::string& name) const;
  // N of "Range: bytes=N-"; nothing without one.
  [[nodiscard]] std::optional<uint32_t> Range() const;
};

// What the server says to one request, faults included.
struct HttpReply {
  enum class End { kClose, kReset, kStall };

  int status = 200;
  std::vector<std::string> headers = {};  // Beside Content-Length.
  std::shared_ptr<const std::string> body = {};
  size_t from = 0;  // The body starts here.
  bool has_length = true;
  std::optional<uint64_t> length = {};   // In place of the body's own.
  std::optional<size_t> end_after = {};  // Bytes of the body; 0 is right after the head.
  End end = End::kClose;
  bool silent = false;  // Not even a head; the end comes at once.
  size_t piece_bytes = 65536;
  DWORD piece_pause_ms = 0;
};

// An HTTP server on loopback, one request a connection. It asks the script what to say.
class HttpServer {
 public:
  // Called on the threads of the connections, one call at a time, with the requests so far counted
  // from 0.
  using Script = std::function<HttpReply(const HttpRequest& request, size_t index)>;

  explicit HttpServer(Script script, unsigned short port = 0);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  [[nodiscard]] unsigned short port() const { return server_->port(); }
  [[nodiscard]] std::string Url(const std::string& target) const;
  [[nodiscard]] std::vector<HttpRequest> requests() const;
  // Signalled when a reply has reached its end, before a stall.
  [[nodiscard]] HANDLE reached_end() const { return reached_end_.Get(); }

 private:
  void Serve(SOCKET socket);
  void SendReply(SOCKET socket, const HttpRequest& request, const HttpReply& reply);

  Script script_;
  mutable CRITICAL_SECTION section_;
  std::vector<HttpRequest> requests_;
  util::UniqueKernelHandle reached_end_;
  std::unique_ptr<SocketServer> server_;  // Last: ends before what its threads use.
};

// Serves `content` as a good server does: the range that is asked for with 206, 416 for one beyond
// the end, else all of it.
HttpReply ServeRange(const HttpRequest& request, std::shared_ptr<const std::string> content);

// Bytes that differ at every position in a way that a shifted or doubled piece shows.
std::shared_ptr<const std::string> TestContent(size_t size);
std::shared_ptr<const std::string> Text(std::string text);

}  // namespace test

#endif  // TESTS_SUPPORT_HTTP_SERVER_H_
