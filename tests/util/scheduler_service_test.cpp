// The call that tells of a service's changes is newer than what the library may use.
#undef _WIN32_WINNT
#define _WIN32_WINNT 0x0600

#include <windows.h>
#include <tlhelp32.h>
#include <winsvc.h>

#include <doctest.h>

#include <string>

#include "support/setup_program.h"
#include "support/temp_folder.h"
#include "util/os_family.h"
#include "util/scheduler.h"
#include "util/scope_exit.h"
#include "util/unique_handle.h"

namespace {

constexpr DWORD kTimeoutMs = 20000;

struct ServiceTraits {
  using Handle = SC_HANDLE;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle handle) { return handle != nullptr; }
  static void Close(Handle handle) { ::CloseServiceHandle(handle); }
};
using Service = util::UniqueHandle<ServiceTraits>;

SERVICE_STATUS_PROCESS Status(const Service& service) {
  SERVICE_STATUS_PROCESS status = {};
  DWORD needed = 0;
  REQUIRE(::QueryServiceStatusEx(service.Get(), SC_STATUS_PROCESS_INFO,
                                 reinterpret_cast<BYTE*>(&status), sizeof(status), &needed));
  return status;
}

bool SetProgram(const Service& service, const char* command) {
  return ::ChangeServiceConfigA(service.Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                SERVICE_NO_CHANGE, command, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr) != FALSE;
}

// Wine's scheduler service takes no controls, and its end goes unnoticed until a start fails: so
// its process is ended and it is started once with a program that does not exist.
void Stop(const Service& service) {
  const SERVICE_STATUS_PROCESS status = Status(service);
  if (status.dwCurrentState == SERVICE_STOPPED) return;
  const util::UniqueKernelHandle process(
      ::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, status.dwProcessId));
  REQUIRE(::TerminateProcess(process.Get(), 0));
  REQUIRE(::WaitForSingleObject(process.Get(), kTimeoutMs) == WAIT_OBJECT_0);

  alignas(QUERY_SERVICE_CONFIGA) char buffer[8192];
  auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGA*>(buffer);
  DWORD needed = 0;
  REQUIRE(::QueryServiceConfigA(service.Get(), config, sizeof(buffer), &needed));
  REQUIRE(SetProgram(service, "C:\\no such program.exe"));
  const BOOL started = ::StartServiceA(service.Get(), 0, nullptr);
  REQUIRE(SetProgram(service, config->lpBinaryPathName));
  REQUIRE_FALSE(started);
  REQUIRE(Status(service).dwCurrentState == SERVICE_STOPPED);
}

void CALLBACK Ignore(void*) {}

void WaitUntilRunning(const Service& service) {
  SERVICE_NOTIFYW notify = {};
  notify.dwVersion = SERVICE_NOTIFY_STATUS_CHANGE;
  notify.pfnNotifyCallback = &Ignore;
  REQUIRE(::NotifyServiceStatusChangeW(service.Get(), SERVICE_NOTIFY_RUNNING, &notify) ==
          ERROR_SUCCESS);
  REQUIRE(::SleepEx(kTimeoutMs, /*bAlertable=*/TRUE) == WAIT_IO_COMPLETION);
}

util::UniqueKernelHandle FindStartedProgram() {
  const util::UniqueFile processes(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof(entry);
  for (BOOL more = ::Process32First(processes.Get(), &entry); more;
       more = ::Process32Next(processes.Get(), &entry)) {
    if (std::wstring(entry.szExeFile) == L"mstask.exe") {
      return util::UniqueKernelHandle(::OpenProcess(SYNCHRONIZE, FALSE, entry.th32ProcessID));
    }
  }
  return {};
}

}  // namespace

TEST_CASE("a stopped scheduler service is started and a running one left alone") {
  if (!util::IsNtFamily()) return;
  const Service manager(::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
  const Service service(::OpenServiceA(
      manager.Get(), "Schedule",
      SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG | SERVICE_CHANGE_CONFIG | SERVICE_START));
  REQUIRE(service);
  Stop(service);
  CHECK(util::EnsureSchedulerRuns() == ERROR_SUCCESS);
  CHECK(Status(service).dwCurrentState != SERVICE_STOPPED);
  WaitUntilRunning(service);
  const DWORD process = Status(service).dwProcessId;
  CHECK(util::EnsureSchedulerRuns() == ERROR_SUCCESS);
  CHECK(Status(service).dwProcessId == process);
}

TEST_CASE("on the older family the scheduler is a program beside its window") {
  if (util::IsNtFamily()) return;
  CHECK(util::EnsureSchedulerRuns() == ERROR_FILE_NOT_FOUND);

  // Started without arguments, it finds the word that makes it wait in its own path.
  const util::UniqueKernelHandle end(::CreateEventA(nullptr, TRUE, FALSE, "prereq-test-end"));
  const test::TempFolder folder;
  const test::SetupProgram program(folder, L"the wait=prereq-test-end folder\\mstask.exe");
  wchar_t search_path[4096];
  REQUIRE(::GetEnvironmentVariableW(L"PATH", search_path, 4096) < 4096);
  const util::ScopeExit restore([&] { ::SetEnvironmentVariableW(L"PATH", search_path); });
  ::SetEnvironmentVariableW(L"PATH", (std::wstring(search_path) + L";" + folder.path() +
                                      L"\\the wait=prereq-test-end folder")
                                         .c_str());

  WNDCLASSA window_class = {};
  window_class.lpfnWndProc = &::DefWindowProcA;
  window_class.lpszClassName = "SAGEWINDOWCLASS";
  REQUIRE(::RegisterClassA(&window_class) != 0);
  const HWND window = ::CreateWindowA("SAGEWINDOWCLASS", "SYSTEM AGENT COM WINDOW", 0, 0, 0, 0, 0,
                                      nullptr, nullptr, nullptr, nullptr);
  REQUIRE(window != nullptr);
  CHECK(util::EnsureSchedulerRuns() == ERROR_SUCCESS);
  CHECK_FALSE(FindStartedProgram());
  ::DestroyWindow(window);

  CHECK(util::EnsureSchedulerRuns() == ERROR_SUCCESS);
  const util::UniqueKernelHandle started = FindStartedProgram();
  REQUIRE(started);
  ::SetEvent(end.Get());
  REQUIRE(::WaitForSingleObject(started.Get(), kTimeoutMs) == WAIT_OBJECT_0);
  CHECK(program.Runs().size() == 1);
}
