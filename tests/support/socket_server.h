#ifndef TESTS_SUPPORT_SOCKET_SERVER_H_
#define TESTS_SUPPORT_SOCKET_SERVER_H_

#include <winsock2.h>
#include <windows.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "util/unique_handle.h"

namespace test {

struct SocketTraits {
  using Handle = SOCKET;
  static Handle Invalid() { return INVALID_SOCKET; }
  static bool IsValid(Handle handle) { return handle != INVALID_SOCKET; }
  static void Close(Handle handle) { ::closesocket(handle); }
};
using UniqueSocket = util::UniqueHandle<SocketTraits>;

// Guards what the test and the server's threads share.
class Lock {
 public:
  explicit Lock(CRITICAL_SECTION* section) : section_(section) { ::EnterCriticalSection(section_); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock() { ::LeaveCriticalSection(section_); }

 private:
  CRITICAL_SECTION* section_;
};

// A TCP server on 127.0.0.1 with a thread for every connection. The destructor ends them all.
class SocketServer {
 public:
  using Serve = std::function<void(SOCKET)>;  // On the connection's thread; closed after it.

  // A port of 0 means any free one.
  explicit SocketServer(Serve serve, unsigned short port = 0);
  SocketServer(const SocketServer&) = delete;
  SocketServer& operator=(const SocketServer&) = delete;
  ~SocketServer();

  [[nodiscard]] unsigned short port() const { return port_; }
  // Until the other side closes the connection or the server ends.
  void WaitForEnd(SOCKET socket) const;
  [[nodiscard]] bool IsStopping() const;
  // Waits; false when the server ends.
  [[nodiscard]] bool Pause(DWORD ms) const;

 private:
  struct Connection;
  static DWORD WINAPI Accept(void* self);
  static DWORD WINAPI Run(void* connection);

  Serve serve_;
  UniqueSocket listener_;
  unsigned short port_ = 0;
  util::UniqueKernelHandle stop_;
  util::UniqueKernelHandle thread_;
  std::vector<util::UniqueKernelHandle> workers_;  // Of the accepting thread.
};

// A listening socket on any free port of 127.0.0.1, or on `port`.
UniqueSocket ListenOnLoopback(unsigned short* port);

// False when the other side is gone.
bool SendAll(SOCKET socket, std::string_view data);

// Reads up to and including the first `end`; what came when the connection ended before.
std::string ReceiveUntil(SOCKET socket, std::string_view end);

// Closes with a reset instead of a proper end.
void Reset(SOCKET socket);

}  // namespace test

#endif  // TESTS_SUPPORT_SOCKET_SERVER_H_
