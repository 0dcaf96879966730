#include "reliability/process_figures.h"

#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <cstdio>
#include <iterator>

#include "util/unique_handle.h"

namespace test {
namespace {

// Threads of a pool come and go, each with a few handles; heaps grow in steps.
constexpr uint32_t kMoreHandles = 8;
constexpr uint32_t kMoreThreads = 3;
constexpr uint64_t kMorePrivateBytes = 250000;
// However many calls there are: the more, the smaller a leak shows.
constexpr uint64_t kMoreBytesInUse = 8000;

// Wine counts none; there each number that can be one of an open handle is asked about.
uint32_t CountHandles() {
  DWORD count = 0;
  if (::GetProcessHandleCount(::GetCurrentProcess(), &count) && count != 0) return count;
  constexpr uintptr_t kHighest = 0x8000;
  for (uintptr_t handle = 4; handle < kHighest; handle += 4) {
    DWORD flags = 0;
    if (::GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags)) ++count;
  }
  return count;
}

uint32_t CountThreads() {
  const util::UniqueFile snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof(entry);
  uint32_t count = 0;
  for (BOOL more = ::Thread32First(snapshot.Get(), &entry); more;
       more = ::Thread32Next(snapshot.Get(), &entry)) {
    if (entry.th32OwnerProcessID == ::GetCurrentProcessId()) ++count;
  }
  return count;
}

// In the heaps, blocks in use alone: what is free in them, or kept for later, grows in large steps.
uint64_t CountBytesInUse() {
  HANDLE heaps[128];
  const DWORD count = ::GetProcessHeaps(static_cast<DWORD>(std::size(heaps)), heaps);
  uint64_t bytes = 0;
  for (DWORD i = 0; i < count && i < std::size(heaps); ++i) {
    ::HeapLock(heaps[i]);
    PROCESS_HEAP_ENTRY entry = {};
    while (::HeapWalk(heaps[i], &entry)) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
    }
    ::HeapUnlock(heaps[i]);
  }
  return bytes;
}

std::string Change(const char* what, uint64_t start, uint64_t end) {
  return std::string(what) + " " + Grouped(start) + " > " + Grouped(end);
}

}  // namespace

ProcessFigures ProcessFigures::Take() {
  ProcessFigures figures;
  figures.handles = CountHandles();
  figures.threads = CountThreads();
  HMODULE modules[512];
  DWORD bytes = 0;
  ::EnumProcessModules(::GetCurrentProcess(), modules, sizeof(modules), &bytes);
  figures.modules = bytes / static_cast<DWORD>(sizeof(HMODULE));
  PROCESS_MEMORY_COUNTERS memory = {};
  ::GetProcessMemoryInfo(::GetCurrentProcess(), &memory, sizeof(memory));
  figures.private_bytes = memory.PagefileUsage;
  figures.bytes_in_use = CountBytesInUse();
  return figures;
}

void CheckSteady(Part* part, const ProcessFigures& start, const ProcessFigures& end,
                 uint64_t lost_bytes) {
  part->Note(Change("handles", start.handles, end.handles));
  part->Note(Change("threads", start.threads, end.threads));
  part->Note(Change("modules", start.modules, end.modules));
  part->Note(Change("private KB", start.private_bytes / 1024, end.private_bytes / 1024));
  part->Note(Change("heap bytes", start.bytes_in_use, end.bytes_in_use) +
             (lost_bytes != 0 ? " (up to " + Grouped(lost_bytes) + " lost by the system)" : ""));
  part->FaultIf(start.handles == 0 || start.threads == 0 || start.private_bytes == 0 ||
                    start.bytes_in_use == 0,
                "the system gives no figures");
  part->FaultIf(end.handles > start.handles + kMoreHandles, "handles grow");
  part->FaultIf(end.threads > start.threads + kMoreThreads, "threads grow");
  part->FaultIf(end.modules > start.modules, "modules grow");
  part->FaultIf(end.private_bytes > start.private_bytes + kMorePrivateBytes, "memory grows");
  part->FaultIf(end.bytes_in_use > start.bytes_in_use + lost_bytes + kMoreBytesInUse,
                "blocks of the heaps stay behind");
}

}  // namespace test
