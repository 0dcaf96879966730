#include "reliability/process_figures.h"

#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <cstdio>

#include "util/unique_handle.h"

namespace test {
namespace {

// Threads of a pool come and go, each with a few handles; heaps grow in steps.
constexpr uint32_t kMoreHandles = 8;
constexpr uint32_t kMoreThreads = 3;
constexpr uint64_t kMoreBytes = 250000;

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
  return figures;
}

void CheckSteady(Part* part, const ProcessFigures& start, const ProcessFigures& end) {
  part->Note(Change("handles", start.handles, end.handles));
  part->Note(Change("threads", start.threads, end.threads));
  part->Note(Change("modules", start.modules, end.modules));
  part->Note(Change("private KB", start.private_bytes / 1024, end.private_bytes / 1024));
  part->FaultIf(start.handles == 0 || start.threads == 0 || start.private_bytes == 0,
                "the system gives no figures");
  part->FaultIf(end.handles > start.handles + kMoreHandles, "handles grow");
  part->FaultIf(end.threads > start.threads + kMoreThreads, "threads grow");
  part->FaultIf(end.modules > start.modules, "modules grow");
  part->FaultIf(end.private_bytes > start.private_bytes + kMoreBytes, "memory grows");
}

}  // namespace test
