#ifndef UTIL_PIPE_CHANNEL_H_
#define UTIL_PIPE_CHANNEL_H_

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "contract/extraction.h"
#include "util/unique_handle.h"

namespace util {

// One end of a named pipe on which a server and one client talk in lock-step: the client sends a
// text, the server answers it. Texts are UTF-16 without a terminator, one a pipe message; numbers
// travel as decimal texts. Everything blocks without a time limit. Used by one thread at a time.
//
// Nothing fails loudly: what could not be received is an empty text, what could not be sent is
// lost. A server whose client has left goes on waiting; where the pipe itself fails, it closes the
// channel.
class PipeChannel {
 public:
  enum class Side { kServer, kClient };

  // The longest text, in UTF-16 units. What a longer one leaves behind is received as the next
  // text, and the longer one itself as an empty text.
  static constexpr size_t kLongestTextChars = 16328;

  PipeChannel() = default;
  PipeChannel(const PipeChannel&) = delete;
  PipeChannel& operator=(const PipeChannel&) = delete;

  // Makes the pipe (server) or opens the one that a server has made (client). The pipe's name ends
  // in `name_suffix`. True when the channel is open; one that is open already stays as it is. False
  // leaves it closed, with the reason in GetLastError(): a client that comes too early tries again.
  // A server fails where somebody else has made a pipe of that name before. A client with a
  // `server_process` other than 0 fails with ERROR_ACCESS_DENIED at the pipe of another process,
  // where the system can tell; it lets the server see who it is, and no more.
  [[nodiscard]] bool Open(Side side, const std::string& name_suffix, DWORD server_process = 0);
  void Close();

  // The server waits here for its client. Units that belong to no whole character are kept; an odd
  // byte at the end is dropped.
  [[nodiscard]] std::wstring Receive();
  void Send(std::wstring_view text);

  // Receive a number: an optional "-" and digits, 32 bits, wrapping round silently; no digits are
  // 0. False when the channel is not open or the text is "CLOSE", which parses as 0.
  [[nodiscard]] bool ReceiveInteger(int32_t* value);
  // Receives a low part, acknowledges it, and receives a high part, which is left for the caller to
  // answer. The low part is a signed number: with one below 0, the high part has to be one more
  // than the upper 32 bits of the whole. False, with `value` as it was and the last text
  // unanswered, when either part is "CLOSE".
  [[nodiscard]] bool ReceiveInteger64(int64_t* value);

  // The server's two answers: go on, or stop.
  void Acknowledge() { Send(contract::kGoOnText); }
  void Refuse() { Send(contract::kCloseText); }

  // For the client: each sends and gives the server's answer, empty when there was none.
  std::wstring Ask(std::wstring_view text);
  std::wstring AskInteger(int32_t value);
  // Sends both parts of the number, so split that ReceiveInteger64 puts the same number together,
  // and gives the answer to the high part. An answer of "CLOSE" to that one is remembered.
  std::wstring AskInteger64(int64_t value);
  // Ends the talk. A server that ends with it does not answer; the call returns when the server
  // has closed its end.
  std::wstring AskClose() { return Ask(contract::kCloseText); }
  [[nodiscard]] bool close_seen() const { return close_seen_; }

 private:
  bool WaitForClient();
  bool ReadMessage(DWORD* read_bytes);
  void CloseUnlessClientLeft(DWORD error);

  UniqueFile pipe_;
  std::unique_ptr<wchar_t[]> buffer_;
  Side side_ = Side::kServer;
  bool has_written_ = false;  // Since the last read: then the other end has been there.
  bool close_seen_ = false;
};

// Makes the server's end: the first of its name, which nobody of another machine can open. Systems
// that do not know these requests are asked without them. `create` is the system's call; tests give
// their own.
HANDLE MakeServerPipe(const std::string& name,
                      decltype(&::CreateNamedPipeA) create = &::CreateNamedPipeA);

}  // namespace util

#endif  // UTIL_PIPE_CHANNEL_H_
