#include "util/pipe_channel.h"

#include <utility>

#include "util/find_function.h"
#include "util/text.h"

namespace util {
namespace {

constexpr DWORD kLongestMessageBytes = PipeChannel::kLongestTextChars * sizeof(wchar_t);
// Twice what one read takes, which is the longest message; the rest is slack.
constexpr size_t kBufferChars = 2 * PipeChannel::kLongestTextChars;
constexpr DWORD kDefaultTimeoutMs = 5000;

// A server whose client has gone is asked for the next text again and again.
constexpr DWORD kPauseWithoutClientMs = 10;

// The client reads bytes, not messages. In lock-step there is never more than one message to read.
// Whoever serves the pipe may see who the client is, but not act in its name.
HANDLE OpenPipe(const std::string& name) {
  return ::CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                       SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
}

bool IsServedBy(HANDLE pipe, DWORD process) {
  const auto read = FindFunction<BOOL(WINAPI*)(HANDLE, ULONG*)>(::GetModuleHandleA("kernel32.dll"),
                                                                "GetNamedPipeServerProcessId");
  ULONG server = 0;
  return read == nullptr || !read(pipe, &server) || server == process;
}

}  // namespace

HANDLE MakeServerPipe(const std::string& name, decltype(&::CreateNamedPipeA) create) {
  constexpr DWORD kMode = PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE;
  const struct {
    DWORD open_flags;
    DWORD mode_flags;
  } requests[] = {{FILE_FLAG_FIRST_PIPE_INSTANCE, PIPE_REJECT_REMOTE_CLIENTS},
                  {FILE_FLAG_FIRST_PIPE_INSTANCE, 0},
                  {0, 0}};
  HANDLE pipe = INVALID_HANDLE_VALUE;
  for (const auto& request : requests) {
    pipe = create(name.c_str(), PIPE_ACCESS_DUPLEX | request.open_flags, kMode | request.mode_flags,
                  PIPE_UNLIMITED_INSTANCES, kLongestMessageBytes, kLongestMessageBytes,
                  kDefaultTimeoutMs, nullptr);
    // Windows 2000 and XP know the first flag, only Windows Vista and later know both.
    if (pipe != INVALID_HANDLE_VALUE || ::GetLastError() != ERROR_INVALID_PARAMETER) break;
  }
  return pipe;
}

bool PipeChannel::Open(Side side, const std::string& name_suffix, DWORD server_process) {
  if (pipe_) return true;
  const std::string name = contract::kPipeNamePrefix + name_suffix;
  pipe_.Reset(side == Side::kServer ? MakeServerPipe(name) : OpenPipe(name));
  if (!pipe_) return false;
  if (side == Side::kClient && server_process != 0 && !IsServedBy(pipe_.Get(), server_process)) {
    pipe_.Reset();
    ::SetLastError(ERROR_ACCESS_DENIED);
    return false;
  }
  side_ = side;
  buffer_ = std::make_unique<wchar_t[]>(kBufferChars);
  has_written_ = false;
  close_seen_ = false;
  return true;
}

void PipeChannel::Close() {
  pipe_.Reset();
  buffer_.reset();
}

std::wstring PipeChannel::Receive() {
  if (!pipe_) return {};
  const bool must_wait = side_ == Side::kServer && !std::exchange(has_written_, false);
  DWORD bytes = 0;
  if ((must_wait && !WaitForClient()) || !ReadMessage(&bytes)) return {};
  return std::wstring(buffer_.get(), bytes / sizeof(wchar_t));
}

void PipeChannel::Send(std::wstring_view text) {
  DWORD written = 0;
  if (!::WriteFile(pipe_.Get(), text.data(), static_cast<DWORD>(text.size()) * sizeof(wchar_t),
                   &written, nullptr)) {
    CloseUnlessClientLeft(::GetLastError());
    return;
  }
  (void)::FlushFileBuffers(pipe_.Get());
  has_written_ = true;
}

bool PipeChannel::ReceiveInteger(int32_t* value) {
  if (!pipe_) return false;
  const std::wstring text = Receive();
  *value = ParseDecimal<int32_t>(text);
  return text != contract::kCloseText;
}

bool PipeChannel::ReceiveInteger64(int64_t* value) {
  int32_t low = 0;
  int32_t high = 0;
  if (!ReceiveInteger(&low)) return false;
  Acknowledge();
  if (!ReceiveInteger(&high)) return false;
  // Compatibility: the low part keeps its sign; whoever sends a number splits it that way.
  const uint64_t sum = static_cast<uint64_t>(int64_t{low}) + (static_cast<uint64_t>(high) << 32);
  *value = static_cast<int64_t>(sum);
  return true;
}

std::wstring PipeChannel::Ask(std::wstring_view text) {
  Send(text);
  return Receive();
}

std::wstring PipeChannel::AskInteger(int32_t value) { return Ask(ToSignedDecimal(value)); }

std::wstring PipeChannel::AskInteger64(int64_t value) {
  const auto low = static_cast<int32_t>(value);
  const uint64_t rest = static_cast<uint64_t>(value) - static_cast<uint64_t>(int64_t{low});
  (void)AskInteger(low);  // Only the answer to the whole number counts.
  std::wstring answer = AskInteger(static_cast<int32_t>(rest >> 32));
  close_seen_ = close_seen_ || answer == contract::kCloseText;
  return answer;
}

bool PipeChannel::WaitForClient() {
  if (::ConnectNamedPipe(pipe_.Get(), nullptr)) return true;
  const DWORD error = ::GetLastError();
  if (error == ERROR_PIPE_CONNECTED) return true;
  CloseUnlessClientLeft(error);
  return false;
}

bool PipeChannel::ReadMessage(DWORD* read_bytes) {
  if (::ReadFile(pipe_.Get(), buffer_.get(), kLongestMessageBytes, read_bytes, nullptr)) {
    return true;
  }
  const DWORD error = ::GetLastError();
  if (side_ == Side::kServer && error != ERROR_MORE_DATA) CloseUnlessClientLeft(error);
  return false;
}

void PipeChannel::CloseUnlessClientLeft(DWORD error) {
  if (side_ == Side::kClient) return;
  switch (error) {
    case ERROR_BROKEN_PIPE:
    case ERROR_NO_DATA:
    case ERROR_PIPE_NOT_CONNECTED:
      // Compatibility: only the client's "CLOSE" ends the talk, so it is waited for without end.
      ::Sleep(kPauseWithoutClientMs);
      break;
    default:
      Close();
  }
}

}  // namespace util
