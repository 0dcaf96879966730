#include "util/pipe_channel.h"

#include <doctest.h>

#include <vector>

#include "support/pipe_client.h"
#include "support/worker.h"
#include "util/ansi_text.h"
#include "util/text.h"

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

}  // namespace

TEST_CASE("texts of every length and content pass both ways whole") {
  const Texts texts = {L"",
                       L"a",
                       L"C:\\Temp\\\x017C\x00F3\x0142\x0107.exe",
                       L"\xD83D",         // Half a character,
                       L"\xDE00 \xD83D",  // halves in the wrong order,
                       L"\xD83D\xDE00",   // a whole one.
                       std::wstring(3, L'\0'),
                       std::wstring(PipeChannel::kLongestTextChars, L'x')};
  const std::string suffix = NewSuffix();
  PipeChannel server;
  REQUIRE(server.Open(Side::kServer, suffix));
  Texts echoes;
  {
    const Worker client([&] {
      PipeChannel channel;
      if (!channel.Open(Side::kClient, suffix)) return;
      for (const std::wstring& text : texts) echoes.push_back(channel.Ask(text));
      // The server ends without an answer.
      echoes.push_back(channel.AskClose());
    });
    for (std::wstring text = server.Receive(); text != L"CLOSE"; text = server.Receive()) {
      server.Send(text);
    }
    server.Close();
  }
  REQUIRE(echoes.size() == texts.size() + 1);
  for (size_t i = 0; i < texts.size(); ++i) CHECK(echoes[i] == texts[i]);
  CHECK(echoes.back().empty());
}

TEST_CASE("an odd byte is dropped, and what is longer than a read is an empty text") {
  const std::string suffix = NewSuffix();
  PipeChannel server;
  REQUIRE(server.Open(Side::kServer, suffix));
  const Worker client([&] {
    const PipeClient pipe(suffix);
    pipe.SayBytes("x", 1);
    pipe.SayBytes("O\0K\0!", 5);
    std::string too_long(2 * PipeChannel::kLongestTextChars, 'a');
    too_long += "OK";
    pipe.SayBytes(too_long.data(), too_long.size());
    (void)pipe.Ask(L"CLOSE");
  });
  CHECK(server.Receive().empty());
  CHECK(server.Receive() == L"OK");
  // Longer than a read: that one fails. The rest comes after it, or is lost in Wine where the
  // reader waited before the writer came; what follows is whole again.
  CHECK(server.Receive().empty());
  std::wstring next = server.Receive();
  for (int reads = 0; reads < 3 && (next.empty() || next == L"\x4B4F"); ++reads) {
    next = server.Receive();
  }
  CHECK(next == L"CLOSE");
  server.Acknowledge();
  client.Join();
  // The client has gone; nobody else can come.
  CHECK(server.Receive().empty());
  int32_t number = 1;
  CHECK(server.ReceiveInteger(&number));
  CHECK(number == 0);
}

TEST_CASE("numbers are read up to the first character that is no digit") {
  const struct {
    const wchar_t* text;
    int32_t value;
    bool going_on = true;
  } cases[] = {
      {L"", 0},
      {L"0", 0},
      {L"-5", -5},
      {L"12ab", 12},
      {L"x", 0},
      {L"-", 0},
      {L"--5", 0},
      {L"+5", 0},
      {L" 5", 0},
      {L"2147483647", 2147483647},
      {L"2147483648", -2147483647 - 1},
      {L"-2147483648", -2147483647 - 1},
      {L"4294967295", -1},
      {L"4294967297", 1},
      {L"99999999999999999999", 1661992959},
      {L"\xFF15", 0},  // A digit elsewhere.
      {L"CLOSE", 0, false},
      {L"close", 0},
      {L"CLOSE ", 0},
      {L"CLOS", 0},
  };
  const std::string suffix = NewSuffix();
  PipeChannel server;
  REQUIRE(server.Open(Side::kServer, suffix));
  const Worker client([&] {
    const PipeClient pipe(suffix);
    for (const auto& one : cases) (void)pipe.Ask(one.text);
  });
  for (const auto& [text, value, going_on] : cases) {
    CAPTURE(util::ToAnsi(text));
    int32_t number = 77;
    CHECK(server.ReceiveInteger(&number) == going_on);
    CHECK(number == value);
    server.Acknowledge();
  }
}

TEST_CASE("64-bit numbers are put together from a signed low part and a high part") {
  const struct {
    const wchar_t* low;
    const wchar_t* high;
    int64_t value;
  } cases[] = {
      {L"5", L"0", 5},
      {L"0", L"1", 0x100000000},
      {L"-1", L"0", -1},
      {L"-1", L"1", 0xFFFFFFFF},
      {L"2147483647", L"2", 0x27FFFFFFF},
      // The low part keeps its sign, also when it is sent without one.
      {L"2147483648", L"0", -0x80000000LL},
      {L"4294967295", L"1", 0xFFFFFFFF},
      {L"0", L"-1", -0x100000000LL},
      {L"-1", L"-2147483648", 0x7FFFFFFFFFFFFFFF},
      {L"", L"", 0},
  };
  const std::string suffix = NewSuffix();
  PipeChannel server;
  REQUIRE(server.Open(Side::kServer, suffix));
  Texts answers;
  const Worker client([&] {
    const PipeClient pipe(suffix);
    for (const auto& one : cases) {
      answers.push_back(pipe.Ask(one.low));
      answers.push_back(pipe.Ask(one.high));
    }
    // The end in place of a part is not answered.
    pipe.Say(L"CLOSE");
    answers.push_back(pipe.Ask(L"1"));
    pipe.Say(L"CLOSE");
  });
  for (const auto& [low, high, value] : cases) {
    CAPTURE(util::ToAnsi(low));
    CAPTURE(util::ToAnsi(high));
    int64_t number = 77;
    CHECK(server.ReceiveInteger64(&number));
    CHECK(number == value);
    server.Refuse();
  }
  int64_t number = 77;
  CHECK_FALSE(server.ReceiveInteger64(&number));
  CHECK_FALSE(server.ReceiveInteger64(&number));
  CHECK(number == 77);
  client.Join();
  Texts expected;
  for (size_t i = 0; i < std::size(cases); ++i) expected.insert(expected.end(), {L"OK", L"CLOSE"});
  expected.push_back(L"OK");
  CHECK(answers == expected);
}

TEST_CASE("a channel sends 64-bit numbers so that the same ones arrive") {
  const int64_t numbers[] = {
      0,           1,           -1,         0x7FFFFFFF,    0x80000000, 0xFFFFFFFF, 0x100000000,
      0x17FFFFFFF, 0x180000000, 4831838208, -0x80000001LL, INT64_MAX,  INT64_MIN};
  const std::string suffix = NewSuffix();
  PipeChannel server;
  REQUIRE(server.Open(Side::kServer, suffix));
  Texts answers;
  bool seen_before_end = true;
  bool seen_at_end = false;
  const Worker sender([&] {
    PipeChannel channel;
    if (!channel.Open(Side::kClient, suffix)) return;
    for (const int64_t number : numbers) answers.push_back(channel.AskInteger64(number));
    // A refusal of something else is not the one that is remembered.
    answers.push_back(channel.AskInteger(-7));
    seen_before_end = channel.close_seen();
    answers.push_back(channel.AskInteger64(1));
    seen_at_end = channel.close_seen();
  });
  for (const int64_t sent : numbers) {
    CAPTURE(sent);
    int64_t number = 77;
    CHECK(server.ReceiveInteger64(&number));
    CHECK(number == sent);
    server.Acknowledge();
  }
  int32_t small = 0;
  CHECK(server.ReceiveInteger(&small));
  CHECK(small == -7);
  server.Refuse();
  int64_t last = 0;
  CHECK(server.ReceiveInteger64(&last));
  server.Refuse();
  sender.Join();
  Texts expected(std::size(numbers), L"OK");
  expected.insert(expected.end(), {L"CLOSE", L"CLOSE"});
  CHECK(answers == expected);
  CHECK_FALSE(seen_before_end);
  CHECK(seen_at_end);
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
