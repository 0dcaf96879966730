#include "reliability/part.h"

#include <doctest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace test {
namespace {

constexpr UINT kHung = 4;
constexpr UINT kCrashed = 3;

Part* current = nullptr;

uint32_t Option(const char* name, uint32_t otherwise) {
  const char* const found = std::strstr(::GetCommandLineA(), name);
  return found != nullptr
             ? static_cast<uint32_t>(std::strtoul(found + std::strlen(name), nullptr, 10))
             : otherwise;
}

// Parts differ in what they draw for the same start and run.
uint64_t StartOf(uint32_t option, const std::string& name, uint32_t run) {
  uint64_t start = uint64_t{option} << 32 | run;
  for (const char letter : name) start = start * 31 + static_cast<unsigned char>(letter);
  return Random(start).Next();
}

// Ends at once: whatever hangs or crashed may hold the locks that an orderly end needs.
void End(const std::string& line, UINT code) {
  std::puts(line.c_str());
  std::fflush(stdout);
  ::TerminateProcess(::GetCurrentProcess(), code);
}

}  // namespace

Part::Part(std::string name, uint32_t default_runs, DWORD limit_ms)
    : name_(std::move(name)),
      start_(Option("--start=", 1)),
      from_(Option("--from=", 0)),
      runs_(Option("--runs=", default_runs)),
      limit_ms_(limit_ms),
      stop_(::CreateEventA(nullptr, TRUE, FALSE, nullptr)),
      watcher_(::CreateThread(nullptr, 0, &Watch, this, 0, nullptr)) {
  current = this;
  ::SetUnhandledExceptionFilter(&OnCrash);
}

Part::~Part() {
  ::SetEvent(stop_.Get());
  ::WaitForSingleObject(watcher_.Get(), INFINITE);
  current = nullptr;
  std::string line = name_;
  line.resize(line.size() < 26 ? 26 : line.size() + 1, ' ');
  line += Grouped(runs_) + " runs";
  for (const auto& [what, count] : figures_) line += "  " + Grouped(count) + " " + what;
  std::printf("%s%s  %s faults\n", line.c_str(), notes_.c_str(), Grouped(faults_).c_str());
  std::fflush(stdout);
}

void Part::ForEachRun(const std::function<void(Random*)>& run) {
  for (uint32_t i = 0; i < runs_; ++i) {
    began_ = ::GetTickCount();
    run_ = static_cast<LONG>(from_ + i);
    Random random(StartOf(start_, name_, from_ + i));
    run(&random);
  }
  run_ = -1;
}

void Part::Fault(const std::string& text) {
  ++faults_;
  std::printf("FAULT %s: %s\n", Where().c_str(), text.c_str());
  std::fflush(stdout);
  CHECK_MESSAGE(false, text);
}

void Part::Count(const std::string& what, uint64_t more) {
  for (auto& [known, count] : figures_) {
    if (known == what) {
      count += more;
      return;
    }
  }
  figures_.emplace_back(what, more);
}

std::string Part::Where() const {
  const LONG run = run_;
  std::string where = "--only \"" + name_ + "\" --start " + std::to_string(start_);
  // What shows only after all runs has no run to blame.
  if (run >= 0) where += " --from " + std::to_string(run) + " --runs 1";
  return where;
}

DWORD WINAPI Part::Watch(void* self) {
  const auto* const part = static_cast<Part*>(self);
  while (::WaitForSingleObject(part->stop_.Get(), 500) == WAIT_TIMEOUT) {
    if (part->run_ >= 0 && ::GetTickCount() - part->began_ > part->limit_ms_) {
      End("FAULT " + part->Where() + ": hangs", kHung);
    }
  }
  return 0;
}

LONG WINAPI Part::OnCrash(EXCEPTION_POINTERS* crash) {
  char text[64];
  std::snprintf(text, sizeof(text), ": crashed with 0x%08lX at %p",
                crash->ExceptionRecord->ExceptionCode, crash->ExceptionRecord->ExceptionAddress);
  if (current != nullptr) End("FAULT " + current->Where() + text, kCrashed);
  return EXCEPTION_CONTINUE_SEARCH;
}

std::string Grouped(uint64_t number) {
  std::string text = std::to_string(number);
  for (size_t at = text.size(); at > 3;) text.insert(at -= 3, ",");
  return text;
}

}  // namespace test
