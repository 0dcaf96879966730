#include "support/fault_server.h"

#include <winsock2.h>
#include <windows.h>

#include <doctest.h>

#include <atomic>
#include <sstream>

#include "support/temp_folder.h"
#include "util/text.h"

namespace test {

FaultServer::FaultServer() {
  static std::atomic<int> made{0};
  id_ = std::to_string(::GetCurrentProcessId()) + "." + std::to_string(::GetTickCount()) + "." +
        std::to_string(++made);
}

std::string FaultServer::Url(const std::string& steps, const std::string& name,
                             const std::string& port) const {
  return "http://127.0.0.1:" + port + "/" + id_ + "/" + steps + "/" + name;
}

std::string FaultServer::FtpUrl(const std::string& steps, const std::string& login) const {
  return "ftp://" + login + "127.0.0.1:" + Port(login.empty() ? "ftp" : "ftp_login") + "/" + id_ +
         "/" + steps + "/setup.exe";
}

std::vector<std::string> FaultServer::Log() const {
  std::istringstream text(Ask("log?id=" + id_));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

std::string FaultServer::Asked() const {
  std::string asked;
  for (const std::string& line : Log()) {
    std::istringstream words(line);
    std::string verb, range;
    words >> verb >> range;
    if (verb == "REST" || verb == "RETR" || verb == "LIST") range = verb;
    const bool counts = verb == "GET" || range == verb;
    if (counts) asked += (asked.empty() ? "" : " ") + range;
  }
  return asked;
}

void FaultServer::AwaitReplies(int count) const {
  REQUIRE(Ask("wait?id=" + id_ + "&count=" + std::to_string(count)) == "ended");
}

std::string FaultServer::Ask(const std::string& question) {
  WSADATA data;
  REQUIRE(::WSAStartup(MAKEWORD(2, 2), &data) == 0);
  const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  address.sin_port = ::htons(util::ParseDecimal<unsigned short>(std::string_view(Port("http"))));
  REQUIRE(::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0);
  const std::string request = "GET /" + question + " HTTP/1.0\r\n\r\n";
  ::send(socket, request.data(), static_cast<int>(request.size()), 0);
  std::string reply;
  char piece[4096];
  for (int count; (count = ::recv(socket, piece, sizeof(piece), 0)) > 0;) {
    reply.append(piece, static_cast<size_t>(count));
  }
  ::closesocket(socket);
  ::WSACleanup();
  return reply.substr(reply.find("\r\n\r\n") + 4);
}

std::string FaultServer::Port(const std::string& name) {
  std::istringstream lines(ReadWholeFile(PREREQ_FAULT_SERVER_PORTS));
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(name + "=")) return line.substr(name.size() + 1);
  }
  FAIL("not there: run tests/servers/fault_server.py start <build folder>/fault_server");
  return {};
}

std::string ServedContent(size_t size) {
  constexpr size_t kPeriod = 1000003;
  std::string content(size, '\0');
  uint32_t value = 1;
  for (size_t i = 0; i < size && i < kPeriod; ++i) {
    value = value * 1664525 + 1013904223;
    content[i] = static_cast<char>(value >> 24);
  }
  for (size_t i = kPeriod; i < size; ++i) content[i] = content[i - kPeriod];
  return content;
}

}  // namespace test
