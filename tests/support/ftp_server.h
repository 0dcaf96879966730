#ifndef TESTS_SUPPORT_FTP_SERVER_H_
#define TESTS_SUPPORT_FTP_SERVER_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/socket_server.h"

namespace test {

// An FTP server on loopback with one file. Data connections are passive only.
class FtpServer {
 public:
  struct Script {
    std::string name = "file.bin";
    std::shared_ptr<const std::string> content = {};
    std::string user = {};  // Empty lets everyone in.
    std::string password = {};
    std::optional<size_t> end_after = {};  // Bytes of the file, then the data connection ends.
    bool stall = false;                    // There, instead of an end.
    bool stall_at_login = false;
    bool stall_at_open = false;
  };

  explicit FtpServer(Script script);
  ~FtpServer();
  FtpServer(const FtpServer&) = delete;
  FtpServer& operator=(const FtpServer&) = delete;

  // A URL of this server; `login` is "user:password@" or empty.
  [[nodiscard]] std::string Url(const std::string& target, const std::string& login = {}) const;
  // The commands so far, without their line ends.
  [[nodiscard]] std::vector<std::string> commands() const;
  // Signalled when a scripted stall begins.
  [[nodiscard]] HANDLE stalled() const { return stalled_.Get(); }

 private:
  void Serve(SOCKET socket);
  void SendFile(SOCKET control, SOCKET data);

  Script script_;
  mutable CRITICAL_SECTION section_;
  std::vector<std::string> commands_;
  util::UniqueKernelHandle stalled_;
  std::unique_ptr<SocketServer> server_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_FTP_SERVER_H_
