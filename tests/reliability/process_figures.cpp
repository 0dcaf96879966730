#include "reliability/process_figures.h"

#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <iterator>

#include "util/unique_handle.h"

namespace test {
namespace {

struct Limit {
  const char* what;
  uint64_t growth;
};

// Threads of a pool come and go, each with a few handles; heaps grow in steps, blocks in use do
// not: however many calls there are, the more, the smaller a leak shows.
constexpr Limit kLimits[] = {
    {"handles", 8}, {"threads", 3}, {"modules", 0}, {"private bytes", 250000}, {"heap bytes", 8000},
};

// Wine counts none; there each number that can be one of an open handle is asked about.
uint64_t CountHandles() {
  DWORD count = 0;
  if (::GetProcessHandleCount(::GetCurrentProcess(), &count) && count != 0) return count;
  for (uintptr_t handle = 4; handle < 0x8000; handle += 4) {
    DWORD flags = 0;
    if (::GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags)) ++count;
  }
  return count;
}

uint64_t CountThreads() {
  const util::UniqueFile snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof(entry);
  uint64_t count = 0;
  for (BOOL more = ::Thread32First(snapshot.Get(), &entry); more;
       more = ::Thread32Next(snapshot.Get(), &entry)) {
    if (entry.th32OwnerProcessID == ::GetCurrentProcessId()) ++count;
  }
  return count;
}

// Of the heaps the blocks in use alone: what is free, or kept for later, grows in large steps.
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

}  // namespace

ProcessFigures TakeFigures() {
  HMODULE modules[512];
  DWORD module_bytes = 0;
  ::EnumProcessModules(::GetCurrentProcess(), modules, sizeof(modules), &module_bytes);
  PROCESS_MEMORY_COUNTERS memory = {};
  ::GetProcessMemoryInfo(::GetCurrentProcess(), &memory, sizeof(memory));
  return {CountHandles(), CountThreads(), module_bytes / sizeof(HMODULE), memory.PagefileUsage,
          CountBytesInUse()};
}

void CheckSteady(Part* part, const ProcessFigures& start, uint64_t lost_bytes) {
  const ProcessFigures end = TakeFigures();
  for (size_t i = 0; i < end.size(); ++i) {
    const auto& [what, growth] = kLimits[i];
    const uint64_t lost = i + 1 == end.size() ? lost_bytes : 0;
    part->Note(std::string(what) + " " + Grouped(start[i]) + " > " + Grouped(end[i]) +
               (lost != 0 ? " (up to " + Grouped(lost) + " lost by the system)" : ""));
    part->FaultIf(start[i] == 0, std::string("the system gives no figure for ") + what);
    part->FaultIf(end[i] > start[i] + growth + lost, std::string(what) + " grow");
  }
}

}  // namespace test
