// Every custom action again and again in one process, with the library loaded once or for each call
// as the installer does it: what the process holds stays the same, and the library really goes.

#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <doctest.h>

#include <array>
#include <functional>
#include <iterator>
#include <optional>
#include <string>

#include "reliability/part.h"
#include "support/fault_server.h"
#include "support/msi_session_rig.h"
#include "support/open_handles.h"
#include "support/pipe_client.h"
#include "support/scripted_ui.h"
#include "support/setup_program.h"
#include "support/temp_folder.h"
#include "support/test_key.h"
#include "support/test_package.h"
#include "support/worker.h"
#include "util/files.h"
#include "util/text.h"

using test::Part;

namespace {

// What this process holds of the system, and by how much it may grow: threads of a pool come and
// go, each with a few handles; heaps grow in steps, blocks in use do not: however many calls there
// are, the more, the smaller a leak shows.
struct Limit {
  const char* what;
  uint64_t growth;
};
constexpr Limit kLimits[] = {
    {"handles", 8}, {"threads", 3}, {"modules", 0}, {"private bytes", 250000}, {"heap bytes", 8000},
};
using Figures = std::array<uint64_t, std::size(kLimits)>;

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

Figures TakeFigures() {
  HMODULE modules[512];
  DWORD module_bytes = 0;
  ::EnumProcessModules(::GetCurrentProcess(), modules, sizeof(modules), &module_bytes);
  PROCESS_MEMORY_COUNTERS memory = {};
  ::GetProcessMemoryInfo(::GetCurrentProcess(), &memory, sizeof(memory));
  return {test::CountOpenHandles(), CountThreads(), module_bytes / sizeof(HMODULE),
          memory.PagefileUsage, CountBytesInUse()};
}

void CheckSteady(Part* part, const Figures& start, uint64_t lost_bytes) {
  const Figures end = TakeFigures();
  for (size_t i = 0; i < end.size(); ++i) {
    const auto& [what, growth] = kLimits[i];
    const uint64_t lost = i + 1 == end.size() ? lost_bytes : 0;
    part->Note(std::string(what) + " " + test::Grouped(start[i]) + " > " + test::Grouped(end[i]) +
               (lost != 0 ? " (up to " + test::Grouped(lost) + " lost by the system)" : ""));
    part->FaultIf(start[i] == 0, std::string("the system gives no figure for ") + what);
    part->FaultIf(end[i] > start[i] + growth + lost, std::string(what) + " grow");
  }
}

constexpr int kMissing = 3;  // Prerequisites that the verification asks about.
constexpr size_t kServedBytes = 14;

// A session in which every custom action has something small to do, again at every call: a file to
// download, one to unpack, setups to run, a prerequisite that is missing, files to delete, things
// to find.
class BusySession {
 public:
  BusySession() {
    key_.SetText("Version", "2.1");
    package_.AddPrerequisite({.name = L"before", .sequence = 1, .target = L"setup.exe"});
    package_.AddPrerequisite(
        {.name = L"after", .sequence = 2, .target = L"setup.exe", .options = L"p"});
    package_.AddPrerequisite({.name = L"packed", .sequence = 3, .target = L"packed.exe"});
    package_.AddPrerequisite(
        {.name = L"fetched",
         .sequence = 4,
         .location = L"1",
         .url = util::ToWide(server_.Url("size=" + std::to_string(kServedBytes), "get.exe")),
         .size = util::ToDecimal(kServedBytes)});
    package_.Import(PREREQ_PACKAGE_DIR L"\\tables", L"QX_AppSearchEx.idt");
    const std::wstring searches[][3] = {{L"FOUNDVALUE", L"2", key_.wide_path() + L"\\Version"},
                                        {L"FOUNDKEY", L"5", key_.wide_path()},
                                        {L"FOUNDFILE", L"0", folder_ / L"source\\*.exe?1"}};
    for (const auto& [property, kind, text] : searches) {
      package_.Execute(
          L"INSERT INTO `QX_AppSearchEx` (`Property`,`Order`,`Type`,`SearchString`,`VerMin`) "
          L"VALUES ('" +
          property + L"',1," + kind + L",'" + text + L"','1.0')");
    }
    package_.Close();
    rig_.emplace(package_);
    rig_->SetProperty(L"QX_EXTRACT_DIR", folder_ / L"work");
    rig_->SetProperty(L"QX_DOWNLOAD_DIR", folder_ / L"down");
    rig_->SetProperty(L"QX_SETUPEXEPATH", bootstrap_.path());
  }

  // Runs `call` of that custom action; false when it did not do its work.
  bool Run(const std::string& action, const std::function<UINT(MSIHANDLE)>& call) {
    for (const wchar_t* name : {L"QX_PREREQFILES", L"QX_PREREQDIRS", L"QX_FilesInsideExe",
                                L"FOUNDVALUE", L"FOUNDKEY", L"FOUNDFILE"}) {
      rig_->SetProperty(name, L"");
    }
    for (const std::wstring& file :
         {folder_ / L"down\\get.exe", setup_.path() + L".log", bootstrap_.path() + L".log"}) {
      util::RemoveFile(file);
    }
    ui_.Clear();
    bool asked = true;
    std::optional<test::Worker> client;
    if (action == "VerifyPrereq") {
      // No more than it asks for: what is left over would pile up in this process.
      for (int row = 0; row < kMissing; ++row) ui_.Answer(INSTALLMESSAGE_WARNING, IDYES);
    } else if (action == "ExtractPrereq") {
      rig_->SetProperty(L"QX_FilesInsideExe", L"1");
      client.emplace([&asked] {
        const test::PipeClient pipe(std::to_string(::GetCurrentProcessId()));
        asked = pipe.Ask(test::kPipeFile) == L"OK" && pipe.Ask(L"C:\\x") == L"OK";
        pipe.Say(L"CLOSE");
      });
    } else if (action == "CleanPrereq") {
      rig_->SetProperty(L"QX_PREREQDIRS", folder_ / L"work");
      rig_->SetProperty(L"QX_PREREQFILES", folder_.Write(L"work\\sub\\left.exe", "x"));
    }
    const UINT result = call(rig_->handle());
    client.reset();
    return result == ERROR_SUCCESS && asked && HasWorked(action);
  }

  // The session cannot be used afterwards.
  UINT CountLeakedHandles() { return rig_->CountLeakedHandles(); }

 private:
  [[nodiscard]] bool HasWorked(const std::string& action) const {
    if (action == "DoAppSearchEx") {
      return rig_->Property(L"FOUNDVALUE") == L"2.1" && rig_->Property(L"FOUNDKEY") == L"1";
    }
    if (action == "DownloadPrereq") {
      return test::ReadWholeFile(folder_ / L"down\\get.exe") == test::ServedContent(kServedBytes);
    }
    if (action == "ExtractPrereq") return rig_->Property(L"QX_PREREQFILES") == L"C:\\x";
    if (action == "VerifyPrereq") return ui_.Of(INSTALLMESSAGE_WARNING).size() == kMissing;
    if (action == "CleanPrereq") return !util::PathExists(folder_ / L"work\\sub");
    return setup_.Runs().size() == 1;
  }

  test::TempFolder folder_;
  test::TestKey key_;
  test::FaultServer server_;
  test::SetupProgram setup_{folder_, L"source\\setup.exe"};
  test::SetupProgram bootstrap_{folder_, L"source\\bootstrap.exe"};
  test::TestPackage package_;
  test::ScriptedUi ui_;
  std::optional<test::MsiSessionRig> rig_;
};

struct CustomAction {
  const char* name;
  uint32_t lost_bytes;  // By the system, in each call.
};
// What Wine never frees, measured with nothing but these calls in a loop: four blocks of 87 bytes
// together each time the task scheduler's object is made and released, and one of 96 bytes with
// each HTTP request sent.
constexpr CustomAction kActions[] = {
    {"DoAppSearchEx", 0},      {"DownloadPrereq", 96}, {"ExtractPrereq", 0}, {"InstallPrereq", 87},
    {"InstallPostPrereq", 87}, {"VerifyPrereq", 0},    {"CleanPrereq", 87},
};

using Call = UINT (*)(Part* part, const char* action, MSIHANDLE install);

// `count` actions in turn. The first fifth of the runs is for pools and caches of the system to
// become as large as they get.
void RunActions(const std::string& name, uint32_t default_runs, const CustomAction* actions,
                size_t count, Call call) {
  BusySession session;
  Part part(name, default_runs);
  uint32_t runs = 0;
  uint64_t lost_bytes = 0;
  Figures start = {};
  part.ForEachRun([&](test::Random*) {
    if (runs == part.runs() / 5) {
      start = TakeFigures();
      lost_bytes = 0;
    }
    const char* const action = actions[runs % count].name;
    lost_bytes += actions[runs++ % count].lost_bytes;
    const bool worked =
        session.Run(action, [&](MSIHANDLE install) { return call(&part, action, install); });
    part.FaultIf(!worked, std::string(action) + " did not do its work");
  });
  CheckSteady(&part, start, lost_bytes);
  const UINT leaked = session.CountLeakedHandles();
  part.FaultIf(leaked != 0, std::to_string(leaked) + " installer handles left open");
}

UINT CallLoaded(Part*, const char* action, MSIHANDLE install) {
  return test::CallExport(action, install);
}

UINT LoadAndCall(Part* part, const char* action, MSIHANDLE install) {
  const HMODULE library = ::LoadLibraryW((test::ProgramFolder() + L"\\Prereq.dll").c_str());
  auto* const address = reinterpret_cast<void*>(::GetProcAddress(library, action));
  if (address == nullptr) return ERROR_MOD_NOT_FOUND;
  const UINT result = reinterpret_cast<UINT(WINAPI*)(MSIHANDLE)>(address)(install);
  part->FaultIf(!::FreeLibrary(library) || ::GetModuleHandleW(L"Prereq.dll") != nullptr,
                "the library does not leave");
  return result;
}

}  // namespace

TEST_CASE("calls") {
  for (const CustomAction& action : kActions) {
    RunActions(std::string("calls of ") + action.name, 1000, &action, 1, CallLoaded);
  }
}

TEST_CASE("loads and unloads") {
  RunActions("loads and unloads", 200, kActions, std::size(kActions), LoadAndCall);
}
