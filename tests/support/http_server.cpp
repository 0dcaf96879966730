#include "support/http_server.h"

#include <algorithm>
#include <sstream>

namespace test {
namespace {

constexpr DWORD kBeforeResetMs = 50;

}  // namespace

std::string HttpRequest::Header(const std::string& name) const {
  const std::string start = "\r\n" + name + ": ";
  const size_t at = head.find(start);
  if (at == std::string::npos) return {};
  const size_t begin = at + start.size();
  return head.substr(begin, head.find("\r\n", begin) - begin);
}

std::optional<uint32_t> HttpRequest::Range() const {
  const std::string range = Header("Range");
  if (!range.starts_with("bytes=") || !range.ends_with("-")) return std::nullopt;
  return static_cast<uint32_t>(std::stoul(range.substr(6)));
}

HttpServer::HttpServer(Script script, unsigned short port)
    : script_(std::move(script)), reached_end_(::CreateEventA(nullptr, FALSE, FALSE, nullptr)) {
  ::InitializeCriticalSection(&section_);
  // A client that knows the port may be there at once: nobody is served before the server is whole.
  const Lock lock(&section_);
  server_ = std::make_unique<SocketServer>([this](SOCKET socket) { Serve(socket); }, port);
}

HttpServer::~HttpServer() {
  server_.reset();
  ::DeleteCriticalSection(&section_);
}

std::string HttpServer::Url(const std::string& target) const {
  return "http://127.0.0.1:" + std::to_string(port()) + target;
}

std::vector<HttpRequest> HttpServer::requests() const {
  const Lock lock(&section_);
  return requests_;
}

void HttpServer::Serve(SOCKET socket) {
  HttpRequest request;
  request.head = ReceiveUntil(socket, "\r\n\r\n");
  if (request.head.empty()) return;
  std::istringstream(request.head) >> request.method >> request.target >> request.version;
  HttpReply reply;
  {
    const Lock lock(&section_);
    requests_.push_back(request);
    reply = script_(request, requests_.size() - 1);
  }
  SendReply(socket, request, reply);
}

void HttpServer::SendReply(SOCKET socket, const HttpRequest& request, const HttpReply& reply) {
  const size_t whole = reply.body ? reply.body->size() - reply.from : 0;
  if (!reply.silent) {
    std::string head =
        "HTTP/1.1 " + std::to_string(reply.status) + " Said\r\nConnection: close\r\n";
    if (reply.has_length) {
      head += "Content-Length: " + std::to_string(reply.length.value_or(whole)) + "\r\n";
    }
    for (const std::string& header : reply.headers) head += header + "\r\n";
    if (!SendAll(socket, head + "\r\n")) return;
    const size_t sent =
        request.method == "HEAD" ? 0 : std::min(whole, reply.end_after.value_or(whole));
    for (size_t at = 0; at < sent; at += reply.piece_bytes) {
      if (reply.piece_pause_ms != 0 && !server_->Pause(reply.piece_pause_ms)) return;
      const std::string_view piece =
          std::string_view(*reply.body)
              .substr(reply.from + at, std::min(reply.piece_bytes, sent - at));
      if (server_->IsStopping() || !SendAll(socket, piece)) return;
    }
  }
  ::SetEvent(reached_end_.Get());
  if (reply.end == HttpReply::End::kReset) {
    // The reader is to wait for more by then: a reset throws away what it has not taken.
    (void)server_->Pause(kBeforeResetMs);
    Reset(socket);
  }
  if (reply.end == HttpReply::End::kStall) server_->WaitForEnd(socket);
}

HttpReply ServeRange(const HttpRequest& request, std::shared_ptr<const std::string> content) {
  const auto from = request.Range();
  if (!from) return {.body = std::move(content)};
  if (*from >= content->size()) return {.status = 416};
  const std::string range = "Content-Range: bytes " + std::to_string(*from) + "-" +
                            std::to_string(content->size() - 1) + "/" +
                            std::to_string(content->size());
  return {.status = 206, .headers = {range}, .body = std::move(content), .from = *from};
}

std::shared_ptr<const std::string> TestContent(size_t size) {
  std::string content(size, '\0');
  uint32_t value = 1;
  for (char& byte : content) {
    value = value * 1664525 + 1013904223;
    byte = static_cast<char>(value >> 24);
  }
  return std::make_shared<const std::string>(std::move(content));
}

std::shared_ptr<const std::string> Text(std::string text) {
  return std::make_shared<const std::string>(std::move(text));
}

}  // namespace test
