#include "support/socket_server.h"

#include <doctest.h>

#include <memory>

namespace test {
namespace {

constexpr DWORD kPollMs = 20;

void StartSockets() {
  static const int started = [] {
    WSADATA data;
    return ::WSAStartup(MAKEWORD(2, 2), &data);
  }();
  REQUIRE(started == 0);
}

}  // namespace

struct SocketServer::Connection {
  SocketServer* server;
  UniqueSocket socket;
};

UniqueSocket ListenOnLoopback(unsigned short* port) {
  StartSockets();
  UniqueSocket listener(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  address.sin_port = ::htons(*port);
  const bool bound =
      ::bind(listener.Get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
      ::listen(listener.Get(), SOMAXCONN) == 0;
  int length = sizeof(address);
  if (!bound ||
      ::getsockname(listener.Get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    listener.Reset();
  }
  *port = ::ntohs(address.sin_port);
  return listener;
}

SocketServer::SocketServer(Serve serve, unsigned short port)
    : serve_(std::move(serve)),
      listener_(ListenOnLoopback(&port)),
      port_(port),
      stop_(::CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
  REQUIRE(listener_);
  thread_.Reset(::CreateThread(nullptr, 0, &Accept, this, 0, nullptr));
  REQUIRE(thread_);
}

SocketServer::~SocketServer() {
  ::SetEvent(stop_.Get());
  ::WaitForSingleObject(thread_.Get(), INFINITE);
  for (const auto& worker : workers_) ::WaitForSingleObject(worker.Get(), INFINITE);
}

bool SocketServer::IsStopping() const {
  return ::WaitForSingleObject(stop_.Get(), 0) == WAIT_OBJECT_0;
}

bool SocketServer::Pause(DWORD ms) const {
  return ::WaitForSingleObject(stop_.Get(), ms) == WAIT_TIMEOUT;
}

void SocketServer::WaitForEnd(SOCKET socket) const {
  for (;;) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(socket, &readable);
    timeval limit = {0, static_cast<long>(kPollMs) * 1000};
    const int ready = ::select(0, &readable, nullptr, nullptr, &limit);
    char byte;
    if (ready < 0 || (ready > 0 && ::recv(socket, &byte, 1, 0) <= 0) || IsStopping()) return;
  }
}

DWORD WINAPI SocketServer::Accept(void* self) {
  auto* const server = static_cast<SocketServer*>(self);
  while (!server->IsStopping()) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(server->listener_.Get(), &readable);
    timeval limit = {0, static_cast<long>(kPollMs) * 1000};
    if (::select(0, &readable, nullptr, nullptr, &limit) <= 0) continue;
    UniqueSocket socket(::accept(server->listener_.Get(), nullptr, nullptr));
    if (!socket) continue;
    const DWORD timeout_ms = 5000;
    ::setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&timeout_ms),
                 sizeof(timeout_ms));
    ::setsockopt(socket.Get(), SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<const char*>(&timeout_ms),
                 sizeof(timeout_ms));
    std::erase_if(server->workers_, [](const util::UniqueKernelHandle& worker) {
      return ::WaitForSingleObject(worker.Get(), 0) == WAIT_OBJECT_0;
    });
    auto connection = std::make_unique<Connection>(Connection{server, std::move(socket)});
    server->workers_.emplace_back(
        ::CreateThread(nullptr, 0, &Run, connection.release(), 0, nullptr));
  }
  return 0;
}

DWORD WINAPI SocketServer::Run(void* connection) {
  const std::unique_ptr<Connection> owned(static_cast<Connection*>(connection));
  const SOCKET socket = owned->socket.Get();
  owned->server->serve_(socket);
  linger how = {};
  int size = sizeof(how);
  ::getsockopt(socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<char*>(&how), &size);
  if (how.l_onoff == 0) ::shutdown(socket, SD_SEND);  // Else the end is to be a reset.
  return 0;
}

bool SendAll(SOCKET socket, std::string_view data) {
  while (!data.empty()) {
    const int sent = ::send(socket, data.data(), static_cast<int>(data.size()), 0);
    if (sent <= 0) return false;
    data.remove_prefix(static_cast<size_t>(sent));
  }
  return true;
}

std::string ReceiveUntil(SOCKET socket, std::string_view end) {
  std::string text;
  char letter;
  while (!text.ends_with(end) && ::recv(socket, &letter, 1, 0) == 1) text += letter;
  return text;
}

void Reset(SOCKET socket) {
  const linger now = {1, 0};
  ::setsockopt(socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&now), sizeof(now));
}

}  // namespace test
