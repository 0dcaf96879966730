#include "util/pipe_channel.h"

#include <doctest.h>

#include <vector>

#include "support/data_rows.h"
#include "support/pipe_client.h"
#include "support/worker.h"
#include "util/ansi_text.h"
#include "util/text.h"

using test::DataRow;
using test::PipeClient;
using test::Worker;
using util::PipeChannel;
using Side = PipeChannel::Side;
using Texts = std::vector<std::wstring>;

namespace {

// A pipe of the test's own.
std::string NewSuffix() {
  static unsigned count = 0;
  return "-test-" + util::ToDecimalAnsi(::GetCurrentProcessId()) + "-" +
         util::ToDecimalAnsi(++count);
}

struct Server {
  Server() { REQUIRE(channel.Open(Side::kServer, suffix)); }

  const std::string suffix = NewSuffix();
  PipeChannel channel;
};

std::vector<DataRow> NumberRows() { return test::ReadDataRows("util/pipe_numbers.txt"); }
bool IsLong(const DataRow& row) { return row.Number(0) == 64; }
int64_t Value(const DataRow& row) { return util::ParseDecimal<int64_t>(row[3]); }

// The answer; none is waited for after the end in place of a part.
std::wstring SayNumber(const PipeClient& pipe, const std::wstring& text, bool is_part) {
  if (!is_part || text != L"CLOSE") return pipe.Ask(text);
  pipe.Say(text);
  return {};
}

// Flags that the system's call refuses, and how; what it was asked for.
struct Refusal {
  DWORD open = 0;
  DWORD mode = 0;
  DWORD error = 0;
};
Refusal g_refused;
std::string g_asked;

HANDLE WINAPI CreateOrRefuse(LPCSTR, DWORD open, DWORD mode, DWORD, DWORD, DWORD, DWORD,
                             LPSECURITY_ATTRIBUTES) {
  g_asked += (open & FILE_FLAG_FIRST_PIPE_INSTANCE) != 0 ? "first" : "any";
  g_asked += (mode & PIPE_REJECT_REMOTE_CLIENTS) != 0 ? " local, " : ", ";
  if ((open & g_refused.open) == 0 && (mode & g_refused.mode) == 0) return nullptr;  // A handle.
  ::SetLastError(g_refused.error);
  return INVALID_HANDLE_VALUE;
}

}  // namespace

TEST_CASE("texts and numbers of every size and content pass whole between two channels") {
  // Halves of a character too, alone and in the wrong order.
  const Texts texts = {L"",
                       L"C:\\Temp\\\x017C\x00F3\x0142\x0107.exe",
                       L"\xD83D",
                       L"\xDE00 \xD83D",
                       L"\xD83D\xDE00",
                       std::wstring(3, L'\0'),
                       std::wstring(PipeChannel::kLongestTextChars, L'x')};
  std::vector<int64_t> numbers;
  for (const DataRow& row : NumberRows()) {
    if (IsLong(row)) numbers.push_back(Value(row));
  }
  Server server;
  Texts heard;
  const Worker client([&] {
    PipeChannel channel;
    if (!channel.Open(Side::kClient, server.suffix)) return;
    const auto hear = [&](const std::wstring& answer) {
      heard.push_back(answer + (channel.close_seen() ? L" seen" : L""));
    };
    for (const std::wstring& text : texts) hear(channel.Ask(text));
    for (const int64_t number : numbers) hear(channel.AskInteger64(number));
    hear(channel.AskInteger(-7));  // A refusal of something else is not remembered.
    hear(channel.AskInteger64(1));
    hear(channel.AskClose());
  });
  Texts expected = texts;
  for (size_t i = 0; i < texts.size(); ++i) server.channel.Send(server.channel.Receive());
  int64_t number = 0;
  for (const int64_t sent : numbers) {
    CHECK(server.channel.ReceiveInteger64(&number));
    CHECK(number == sent);
    server.channel.Acknowledge();
    expected.push_back(L"OK");
  }
  int32_t small = 0;
  CHECK(server.channel.ReceiveInteger(&small));
  CHECK(small == -7);
  server.channel.Refuse();
  CHECK(server.channel.ReceiveInteger64(&number));
  server.channel.Refuse();
  CHECK(server.channel.Receive() == L"CLOSE");
  server.channel.Close();  // Without an answer.
  client.Join();
  expected.insert(expected.end(), {L"CLOSE", L"CLOSE seen", L" seen"});
  CHECK((heard == expected));
}

TEST_CASE("a server makes the best of what any client says") {
  const std::vector<DataRow> rows = NumberRows();
  Server server;
  PipeChannel& channel = server.channel;
  Texts heard(rows.size());
  const Worker client([&] {
    const PipeClient pipe(server.suffix);
    for (size_t i = 0; i < rows.size(); ++i) {
      heard[i] = SayNumber(pipe, rows[i][1], IsLong(rows[i]));
      if (IsLong(rows[i]) && !heard[i].empty()) heard[i] += SayNumber(pipe, rows[i][2], true);
    }
    pipe.SayBytes("x", 1);
    pipe.SayBytes("O\0K\0!", 5);
    const std::string too_long = std::string(2 * PipeChannel::kLongestTextChars, 'a') + "OK";
    pipe.SayBytes(too_long.data(), too_long.size());
    (void)pipe.Ask(L"CLOSE");
  });
  for (const DataRow& row : rows) {
    CAPTURE(row.line);
    int64_t number = 77;
    int32_t short_number = 77;
    const bool goes_on =
        IsLong(row) ? channel.ReceiveInteger64(&number) : channel.ReceiveInteger(&short_number);
    CHECK(goes_on == row.Yes(4));
    CHECK((IsLong(row) ? number : short_number) == Value(row));
    if (!IsLong(row)) channel.Acknowledge();
    if (IsLong(row) && goes_on) channel.Refuse();
  }
  // An odd byte is dropped, and what is longer than a read is an empty text.
  CHECK(channel.Receive().empty());
  CHECK(channel.Receive() == L"OK");
  CHECK(channel.Receive().empty());
  // The rest comes after the read that failed, or is lost in Wine where the reader waited before
  // the writer came; what follows is whole again.
  std::wstring next = channel.Receive();
  for (int reads = 0; reads < 3 && (next.empty() || next == L"\x4B4F"); ++reads) {
    next = channel.Receive();
  }
  CHECK(next == L"CLOSE");
  channel.Acknowledge();
  client.Join();
  for (size_t i = 0; i < rows.size(); ++i) CHECK(heard[i] == rows[i][5]);
  // The client has gone; nobody else can come.
  CHECK(channel.Receive().empty());
  int32_t number = 1;
  CHECK(channel.ReceiveInteger(&number));
  CHECK(number == 0);
}

TEST_CASE("a client that comes too early tries again; a closed channel answers at once") {
  const std::string suffix = NewSuffix();
  PipeChannel client;
  CHECK_FALSE(client.Open(Side::kClient, suffix));
  CHECK(::GetLastError() == ERROR_FILE_NOT_FOUND);
  int32_t number = 77;
  int64_t long_number = 77;
  CHECK(client.Receive().empty());
  CHECK_FALSE(client.ReceiveInteger(&number));
  CHECK_FALSE(client.ReceiveInteger64(&long_number));
  CHECK(number == 77);
  CHECK(client.Ask(L"x").empty());

  PipeChannel server;
  REQUIRE(server.Open(Side::kServer, suffix));
  CHECK(server.Open(Side::kServer, suffix));
  CHECK(client.Open(Side::kClient, suffix));
  CHECK(client.Open(Side::kClient, suffix));  // The one it has: another would be refused.
  const Worker answer([&] {
    if (server.Receive() == L"hello") server.Acknowledge();
  });
  CHECK(client.Ask(L"hello") == L"OK");
  answer.Join();
  server.Close();
  CHECK(client.Ask(L"more").empty());
}

TEST_CASE("a server asks for the first pipe of its name and for no remote clients, where it can") {
  const auto ask = [&](DWORD open, DWORD mode, DWORD reason) {
    g_asked.clear();
    g_refused = {open, mode, reason};
    const bool made = util::MakeServerPipe("x", &CreateOrRefuse) != INVALID_HANDLE_VALUE;
    return g_asked + (made ? "made" : "not made");
  };
  CHECK(ask(0, 0, 0) == "first local, made");
  CHECK(ask(0, PIPE_REJECT_REMOTE_CLIENTS, ERROR_INVALID_PARAMETER) == "first local, first, made");
  CHECK(ask(FILE_FLAG_FIRST_PIPE_INSTANCE, 0, ERROR_INVALID_PARAMETER) ==
        "first local, first, any, made");
  // Somebody else's pipe is none of ours.
  CHECK(ask(FILE_FLAG_FIRST_PIPE_INSTANCE, 0, ERROR_ACCESS_DENIED) == "first local, not made");
}

TEST_CASE("a client does not talk to another process than it was told") {
  const Server server;
  PipeChannel client;
  CHECK_FALSE(client.Open(Side::kClient, server.suffix, ::GetCurrentProcessId() + 1));
  CHECK(::GetLastError() == ERROR_ACCESS_DENIED);
  Server other;
  CHECK(client.Open(Side::kClient, other.suffix, ::GetCurrentProcessId()));
}

TEST_CASE("a pipe that breaks closes the channel, as no client could end the talk") {
  for (const bool by_writing : {false, true}) {
    CAPTURE(by_writing);
    // Handles are numbered from the lowest free one.
    util::UniqueKernelHandle event(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const HANDLE next = event.Get();
    event.Reset();
    Server server;
    REQUIRE(::GetFileType(next) == FILE_TYPE_PIPE);
    REQUIRE(::CloseHandle(next));
    if (by_writing) {
      server.channel.Acknowledge();
    } else {
      CHECK(server.channel.Receive().empty());
    }
    int32_t number = 0;
    CHECK_FALSE(server.channel.ReceiveInteger(&number));
  }
}
