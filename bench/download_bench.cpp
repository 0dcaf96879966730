// Fetches one file in one of three ways and says how it went:
//   download_bench downloader|bare|system url file
// "bare" is a loop that does nothing but read with the same calls and write to disk; "system" is
// the system's own function for the same job. One run a process, because the peak of memory is
// counted.

#include <windows.h>
#include <psapi.h>
#include <urlmon.h>
#include <wininet.h>

#include <cstdio>
#include <string>
#include <vector>

#include "download/downloader.h"
#include "stopwatch.h"
#include "util/unique_handle.h"

namespace {

constexpr DWORD kBufferBytes = 51200;

bool RunDownloader(const char* url, const char* file) {
  return download::Downloader("", nullptr, nullptr)
             .Start(url, file, nullptr, /*resume=*/true, /*wait=*/true, nullptr, false) == 0;
}

bool RunBare(const char* url, const char* file) {
  const HINTERNET session =
      ::InternetOpenA("bench", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
  const HINTERNET request = ::InternetOpenUrlA(
      session, url, nullptr, 0, INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE, 0);
  const util::UniqueFile target(::CreateFileA(file, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                              FILE_ATTRIBUTE_NORMAL, nullptr));
  std::vector<char> buffer(kBufferBytes);
  bool whole = request != nullptr && target;
  while (whole) {
    DWORD count = 0;
    whole = ::InternetQueryDataAvailable(request, &count, 0, 0);
    if (count == 0) break;
    DWORD read = 0;
    DWORD written = 0;
    whole = whole &&
            ::InternetReadFile(request, buffer.data(), count < kBufferBytes ? count : kBufferBytes,
                               &read) &&
            ::WriteFile(target.Get(), buffer.data(), read, &written, nullptr) && written == read;
    if (read == 0) break;
  }
  ::InternetCloseHandle(request);
  ::InternetCloseHandle(session);
  return whole;
}

bool RunSystem(const char* url, const char* file) {
  return SUCCEEDED(::URLDownloadToFileA(nullptr, url, file, 0, nullptr));
}

double ToSeconds(const FILETIME& time) {
  return (time.dwHighDateTime * 4294967296.0 + time.dwLowDateTime) / 1e7;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) return 2;
  const std::string way = arguments[1];
  ::DeleteFileA(arguments[3]);
  const auto run = way == "downloader" ? RunDownloader : way == "bare" ? RunBare : RunSystem;
  bool is_fetched = false;
  const double seconds = bench::Seconds([&] { is_fetched = run(arguments[2], arguments[3]); });
  if (!is_fetched) return 1;

  FILETIME created, exited, kernel, user;
  ::GetProcessTimes(::GetCurrentProcess(), &created, &exited, &kernel, &user);
  PROCESS_MEMORY_COUNTERS memory = {};
  ::GetProcessMemoryInfo(::GetCurrentProcess(), &memory, sizeof(memory));
  const util::UniqueFile file(::CreateFileA(arguments[3], GENERIC_READ, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, 0, nullptr));
  const double megabytes = ::GetFileSize(file.Get(), nullptr) / 1e6;
  // MB/s, processor seconds, peak of memory in MB.
  std::printf("%.1f %.2f %.1f\n", megabytes / seconds, ToSeconds(kernel) + ToSeconds(user),
              static_cast<double>(memory.PeakPagefileUsage) / 1e6);
  return 0;
}
