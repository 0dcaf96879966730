#ifndef TESTS_SUPPORT_FAULT_SERVER_H_
#define TESTS_SUPPORT_FAULT_SERVER_H_

#include <string>
#include <vector>

namespace test {

// A test's share of the server that tests/servers/fault_server.py runs; what its addresses and
// questions may say stands there. Two objects never meet: each has an id of its own.
class FaultServer {
 public:
  FaultServer();

  // What comes at an address goes wrong as `steps` say. A port of one's own meets no login that the
  // WinINet remembers.
  [[nodiscard]] std::string Url(const std::string& steps, const std::string& name = "setup.exe",
                                const std::string& port = Port("http")) const;
  // `login` is "user:password@". With one, only "me" with password "secret" is let in.
  [[nodiscard]] std::string FtpUrl(const std::string& steps, const std::string& login = {}) const;

  // A line for every request so far: "method range status announced sent", or an FTP command.
  [[nodiscard]] std::vector<std::string> Log() const;
  // What was asked for: "- 60000" for a request without a range and one from 60000 on, "RETR" and
  // other commands that move data.
  [[nodiscard]] std::string Asked() const;
  // The requests as they came.
  [[nodiscard]] std::string Heads() const { return Ask("heads?id=" + id_); }
  // Until so many replies have come to an end or a stall; the test fails after 20 s.
  void AwaitReplies(int count) const;

  // The answer to one of the server's questions.
  static std::string Ask(const std::string& question);
  // Of "http", "ftp" or "ftp_login". The test fails when the server does not run.
  static std::string Port(const std::string& name);

 private:
  std::string id_;
};

// The first `size` bytes of what the server makes up.
std::string ServedContent(size_t size);

}  // namespace test

#endif  // TESTS_SUPPORT_FAULT_SERVER_H_
