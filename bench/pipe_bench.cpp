// 10,000 progress reports of a setup executable through the pipe and the library's server, beside
// the same number of bare messages of the same sizes to and fro on the same kind of pipe, which is
// flushed after each as well. Both are done in slices, taken in turn, and the median slice counts:
// how the system schedules two threads that wait for each other varies more than what is measured.
// No installer is there to be told.

#include <windows.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "prereq/extract_progress_server.h"
#include "row.h"
#include "stopwatch.h"
#include "util/ansi_text.h"
#include "util/pipe_channel.h"
#include "util/text.h"
#include "util/unique_handle.h"

namespace {

constexpr int kSlices = 40;
constexpr int kReports = 10000 / kSlices;  // In a slice.
constexpr int32_t kProgress = 0x0A000000;
constexpr DWORD kBufferBytes = 2 * util::PipeChannel::kLongestTextChars;

// What a report sends, each answered: a kind, and a number in two parts.
constexpr std::wstring_view kTexts[] = {L"167772160", L"1234567890", L"0"};
constexpr int64_t kBytes = 1234567890;

std::string Suffix() { return "-bench-" + util::ToDecimalAnsi(::GetCurrentProcessId()); }

struct Talk {
  void (*client)(const std::string& suffix);
  std::string suffix;
};

DWORD WINAPI RunClient(LPVOID talk) {
  static_cast<Talk*>(talk)->client(static_cast<Talk*>(talk)->suffix);
  return 0;
}

// Seconds that the server takes, from before the client's first message to the last one's answer.
template <typename Server>
double Measure(void (*client)(const std::string&), Server serve) {
  Talk talk{client, Suffix()};
  util::UniqueKernelHandle thread(
      ::CreateThread(nullptr, 0, &RunClient, &talk, CREATE_SUSPENDED, nullptr));
  const double seconds = bench::Seconds([&] {
    ::ResumeThread(thread.Get());
    serve();
  });
  ::WaitForSingleObject(thread.Get(), INFINITE);
  return seconds;
}

void ReportProgress(const std::string& suffix) {
  util::PipeChannel channel;
  if (!channel.Open(util::PipeChannel::Side::kClient, suffix)) return;
  for (int i = 0; i < kReports; ++i) {
    (void)channel.AskInteger(kProgress);
    (void)channel.AskInteger64(kBytes);
  }
  (void)channel.AskClose();
}

void SendBare(HANDLE pipe, std::wstring_view text) {
  DWORD written = 0;
  ::WriteFile(pipe, text.data(), static_cast<DWORD>(text.size() * sizeof(wchar_t)), &written,
              nullptr);
  ::FlushFileBuffers(pipe);
}

bool ReceiveBare(HANDLE pipe) {
  wchar_t buffer[kBufferBytes / sizeof(wchar_t)];
  DWORD read = 0;
  return ::ReadFile(pipe, buffer, kBufferBytes, &read, nullptr) != FALSE;
}

void PingBare(const std::string& suffix) {
  const util::UniqueFile pipe(::CreateFileA(("\\\\.\\pipe\\ToServer" + suffix).c_str(),
                                            GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                            0, nullptr));
  for (int i = 0; i < kReports; ++i) {
    for (const std::wstring_view text : kTexts) {
      SendBare(pipe.Get(), text);
      ReceiveBare(pipe.Get());
    }
  }
}

double MeasureServer() {
  util::PipeChannel channel;
  if (!channel.Open(util::PipeChannel::Side::kServer, Suffix())) return 0;
  const msi::InstallerSession session(0);
  const std::vector<prereq::ExtractGroup> groups;
  return Measure(&ReportProgress, [&] {
    prereq::ExtractProgressServer server(session, &channel, groups);
    server.Serve();
    channel.Close();
  });
}

double MeasureBare() {
  util::UniqueFile pipe(
      ::CreateNamedPipeA(("\\\\.\\pipe\\ToServer" + Suffix()).c_str(), PIPE_ACCESS_DUPLEX,
                         PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, PIPE_UNLIMITED_INSTANCES,
                         kBufferBytes, kBufferBytes, 5000, nullptr));
  if (!pipe) return 0;
  return Measure(&PingBare, [&] {
    ::ConnectNamedPipe(pipe.Get(), nullptr);
    for (int i = 0; i < 3 * kReports && ReceiveBare(pipe.Get()); ++i) SendBare(pipe.Get(), L"OK");
    pipe.Reset();
  });
}

// Sorts the values.
double Median(std::vector<double>* values) {
  std::sort(values->begin(), values->end());
  return (*values)[values->size() / 2];
}

}  // namespace

int main() {
  std::vector<double> ours;
  std::vector<double> bare;
  for (int slice = 0; slice < kSlices; ++slice) {
    bare.push_back(MeasureBare());
    ours.push_back(MeasureServer());
  }
  const double bare_seconds = Median(&bare) * kSlices;
  const double our_seconds = Median(&ours) * kSlices;
  if (bare.front() == 0 || ours.front() == 0) return 1;
  bench::PrintRow("10,000 progress reports on the pipe", our_seconds * 1e3, "bare ping-pong",
                  bare_seconds * 1e3, "1.30");
  return 0;
}
