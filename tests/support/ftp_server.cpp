#include "support/ftp_server.h"

#include <algorithm>

namespace test {

FtpServer::FtpServer(Script script)
    : script_(std::move(script)), stalled_(::CreateEventA(nullptr, FALSE, FALSE, nullptr)) {
  ::InitializeCriticalSection(&section_);
  server_ = std::make_unique<SocketServer>([this](SOCKET socket) { Serve(socket); });
}

FtpServer::~FtpServer() {
  server_.reset();
  ::DeleteCriticalSection(&section_);
}

std::string FtpServer::Url(const std::string& target, const std::string& login) const {
  return "ftp://" + login + "127.0.0.1:" + std::to_string(server_->port()) + target;
}

std::vector<std::string> FtpServer::commands() const {
  const Lock lock(&section_);
  return commands_;
}

void FtpServer::Serve(SOCKET socket) {
  SendAll(socket, "220 ready\r\n");
  UniqueSocket passive;
  std::string user;
  for (;;) {
    std::string line = ReceiveUntil(socket, "\r\n");
    if (!line.ends_with("\r\n")) return;
    line.resize(line.size() - 2);
    {
      const Lock lock(&section_);
      commands_.push_back(line);
    }
    const std::string verb = line.substr(0, line.find(' '));
    const std::string argument = line.size() > verb.size() ? line.substr(verb.size() + 1) : "";
    if (verb == "USER") {
      user = argument;
      SendAll(socket, "331 password please\r\n");
    } else if (verb == "PASS") {
      if (script_.stall_at_login) {
        ::SetEvent(stalled_.Get());
        server_->WaitForEnd(socket);
        return;
      }
      const bool welcome =
          script_.user.empty() || (user == script_.user && argument == script_.password);
      SendAll(socket, welcome ? "230 welcome\r\n" : "530 wrong password\r\n");
    } else if (verb == "PASV") {
      unsigned short port = 0;
      passive = ListenOnLoopback(&port);
      SendAll(socket, "227 here (127,0,0,1," + std::to_string(port >> 8) + "," +
                          std::to_string(port & 255) + ")\r\n");
    } else if (verb == "RETR" || verb == "LIST" || verb == "NLST") {
      if (script_.stall_at_open) {
        ::SetEvent(stalled_.Get());
        server_->WaitForEnd(socket);
        return;
      }
      if (verb == "RETR" && (argument.substr(argument.rfind('/') + 1) != script_.name)) {
        SendAll(socket, "550 no such file\r\n");
        continue;
      }
      SendAll(socket, "150 coming\r\n");
      UniqueSocket data(::accept(passive.Get(), nullptr, nullptr));
      if (verb == "RETR") SendFile(socket, data.Get());
      ::shutdown(data.Get(), SD_SEND);
      data.Reset();
      SendAll(socket, "226 done\r\n");
    } else if (verb == "SIZE") {
      SendAll(socket, "213 " + std::to_string(script_.content->size()) + "\r\n");
    } else if (verb == "QUIT") {
      SendAll(socket, "221 bye\r\n");
      return;
    } else {
      SendAll(socket, "200 fine\r\n");
    }
  }
}

void FtpServer::SendFile(SOCKET control, SOCKET data) {
  const size_t whole = script_.content->size();
  const size_t sent = std::min(whole, script_.end_after.value_or(whole));
  SendAll(data, std::string_view(*script_.content).substr(0, sent));
  if (!script_.stall) return;
  ::SetEvent(stalled_.Get());
  server_->WaitForEnd(control);
}

}  // namespace test
