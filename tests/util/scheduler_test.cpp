#include "util/scheduler.h"

#include <windows.h>
#include <objidl.h>
#include <mstask.h>
#include <winsvc.h>

#include <doctest.h>

#include "support/data_rows.h"
#include "support/setup_program.h"
#include "util/com.h"
#include "util/find_function.h"
#include "util/os_family.h"
#include "util/process.h"
#include "util/text.h"

namespace {

constexpr DWORD kTimeoutMs = 20000;

// Names with a full stop, as "x.job", are refused by Wine.
std::wstring JobName() { return L"prereq test " + util::ToDecimal(::GetCurrentProcessId()); }

util::ScheduledJob Job(const std::wstring& arguments, WORD month = 11) {
  return {.name = JobName(),
          .program = L"C:\\a folder\\setup.exe",
          .arguments = arguments,
          .account = L"domain\\user",
          .flags = TASK_FLAG_HIDDEN | TASK_FLAG_RUN_ONLY_IF_LOGGED_ON,
          .start = {2031, month, 0, 30, 23, 58, 59, 9}};
}

// Wine's service opens a job that has changed, for a moment, and until then it cannot be deleted.
bool DeleteJob() {
  int attempts = 200;
  while (attempts > 0 && !util::DeleteScheduledJob(JobName())) --attempts;
  return attempts > 0;
}

std::wstring TakeText(LPWSTR text) {
  const std::wstring result = text == nullptr ? L"" : text;
  ::CoTaskMemFree(text);
  return result;
}

// What the scheduler itself says about the job: flags, program, arguments, number of triggers, kind
// and start of the first. Empty without a job.
std::wstring ReadJob() {
  const util::ComScope com;
  util::UniqueCom<ITaskScheduler> scheduler;
  REQUIRE(SUCCEEDED(::CoCreateInstance(CLSID_CTaskScheduler, nullptr, CLSCTX_INPROC_SERVER,
                                       IID_ITaskScheduler,
                                       reinterpret_cast<void**>(scheduler.Receive()))));
  util::UniqueCom<ITask> task;
  if (FAILED(scheduler.Get()->Activate(JobName().c_str(), IID_ITask,
                                       reinterpret_cast<IUnknown**>(task.Receive())))) {
    return {};
  }
  DWORD flags = 0;
  LPWSTR program = nullptr;
  LPWSTR arguments = nullptr;
  WORD count = 0;
  util::UniqueCom<ITaskTrigger> trigger;
  TASK_TRIGGER when = {};
  when.cbTriggerSize = sizeof(when);
  REQUIRE(SUCCEEDED(task.Get()->GetFlags(&flags)));
  REQUIRE(SUCCEEDED(task.Get()->GetApplicationName(&program)));
  REQUIRE(SUCCEEDED(task.Get()->GetParameters(&arguments)));
  REQUIRE(SUCCEEDED(task.Get()->GetTriggerCount(&count)));
  REQUIRE(SUCCEEDED(task.Get()->GetTrigger(0, trigger.Receive())));
  REQUIRE(SUCCEEDED(trigger.Get()->GetTrigger(&when)));
  std::wstring job = util::ToDecimal(flags) + L"|" + TakeText(program) + L"|" + TakeText(arguments);
  for (const DWORD number : {DWORD{count}, static_cast<DWORD>(when.TriggerType),
                             DWORD{when.wBeginYear}, DWORD{when.wBeginMonth}, DWORD{when.wBeginDay},
                             DWORD{when.wStartHour}, DWORD{when.wStartMinute}}) {
    job += L"|" + util::ToDecimal(number);
  }
  return job;
}

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

bool NothingOfTheSchedulerIsOpen() {
  using Answer = HRESULT(WINAPI*)();
  const auto can_unload =
      util::FindFunction<Answer>(::GetModuleHandleW(L"mstask.dll"), "DllCanUnloadNow");
  REQUIRE((can_unload != nullptr));
  return can_unload() == S_OK;
}

}  // namespace

TEST_CASE("a job is stored whole in place of one of its name, or not at all") {
  const util::UniqueModule library(::LoadLibraryW(L"mstask.dll"));
  const std::wstring arguments =
      L"/i \"C:\\p.msi\"QX_RESUME=1 A=\"" + std::wstring(5000, L'x') + L"\" B=\"C:\\\\\"";
  // The scheduler refuses the month.
  CHECK(FAILED(util::CreateScheduledJob(Job(L"x", /*month=*/13))));
  CHECK(ReadJob().empty());
  REQUIRE(SUCCEEDED(util::CreateScheduledJob(Job(L"first"))));
  REQUIRE(SUCCEEDED(util::CreateScheduledJob(Job(arguments))));
  CHECK(ReadJob() == L"8704|C:\\a folder\\setup.exe|" + arguments + L"|1|" +
                         util::ToDecimal(TASK_EVENT_TRIGGER_AT_LOGON) + L"|2031|11|30|23|58");
  CHECK(DeleteJob());
  CHECK(ReadJob().empty());
  CHECK_FALSE(util::DeleteScheduledJob(JobName()));
  CHECK(NothingOfTheSchedulerIsOpen());
}

TEST_CASE("a logon task says all that the job says, whole and in place of one of its name") {
  util::ScheduledJob job = Job(L"A=\"<&>\" B=\"C:\\\\\" C=\"" + std::wstring(5000, L'x') + L"\"");
  job.start = {2031, 1, 0, 2, 3, 4, 5, 6};
  REQUIRE(util::CreateLogonTask(Job(L"first")));
  REQUIRE(util::CreateLogonTask(job));
  // Where the scheduler keeps it. Wine leaves triggers, users and actions out.
  const std::string stored = test::ReadWholeFile(L"C:\\windows\\sysnative\\tasks\\" + JobName());
  const std::wstring asked = util::LogonTaskXml(job);
  for (const test::DataRow& row : test::ReadDataRows("util/logon_task.txt")) {
    CAPTURE(row.line);
    CHECK(asked.find(row[0]) != asked.npos);
    if (row.Yes(1)) CHECK(stored.find(row.Ansi(0)) != stored.npos);
  }
  CHECK(util::DeleteLogonTask(JobName()));
  CHECK_FALSE(util::DeleteLogonTask(JobName()));
}

TEST_CASE("the thread's COM is left as it was found") {
  constexpr DWORD kNone = 99;
  for (const DWORD mode : {kNone, DWORD{COINIT_APARTMENTTHREADED}, DWORD{COINIT_MULTITHREADED}}) {
    CAPTURE(mode);
    if (mode != kNone) REQUIRE(::CoInitializeEx(nullptr, mode) == S_OK);
    CHECK(SUCCEEDED(util::CreateScheduledJob(Job(L"x"))));
    CHECK(DeleteJob());
    CHECK(util::CreateLogonTask(Job(L"x")));
    CHECK(util::DeleteLogonTask(JobName()));
    const HRESULT answer = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    CHECK(answer == (mode == kNone                      ? S_OK
                     : mode == COINIT_APARTMENTTHREADED ? RPC_E_CHANGED_MODE
                                                        : S_FALSE));
    if (SUCCEEDED(answer)) ::CoUninitialize();
    if (mode != kNone) ::CoUninitialize();
    // One more than was asked for would show here.
    CHECK(::CoInitializeEx(nullptr, COINIT_MULTITHREADED) == S_OK);
    ::CoUninitialize();
  }
}

TEST_CASE("a stopped scheduler service is started and a running one left alone") {
  if (!util::IsNtFamily()) return;
  const Service manager(::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
  const Service service(::OpenServiceA(
      manager.Get(), "Schedule",
      SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG | SERVICE_CHANGE_CONFIG | SERVICE_START));
  REQUIRE(service);
  Stop(service);
  CHECK(util::EnsureSchedulerRuns() == ERROR_SUCCESS);
  CHECK(Status(service).dwCurrentState == SERVICE_RUNNING);  // A job can be made at once.
  CHECK(util::EnsureSchedulerRuns() == ERROR_SUCCESS);       // Another start would be an error.
}

TEST_CASE("on Windows 95/98/Me the scheduler is a program beside its window") {
  if (util::IsNtFamily()) return;
  CHECK(util::EnsureSchedulerRuns() == ERROR_FILE_NOT_FOUND);

  // Started without arguments, it finds the word that makes it tell of its end in its own path.
  const util::UniqueKernelHandle done(::CreateEventA(nullptr, FALSE, FALSE, "prereq-test-done"));
  const test::TempFolder folder;
  const test::SetupProgram program(folder, L"the done=prereq-test-done folder\\mstask.exe");
  ::SetCurrentDirectoryW((folder / L"the done=prereq-test-done folder").c_str());
  WNDCLASSA window_class = {};
  window_class.lpfnWndProc = &::DefWindowProcA;
  window_class.lpszClassName = "SAGEWINDOWCLASS";
  REQUIRE(::RegisterClassA(&window_class) != 0);
  const HWND window = ::CreateWindowA("SAGEWINDOWCLASS", "SYSTEM AGENT COM WINDOW", 0, 0, 0, 0, 0,
                                      nullptr, nullptr, nullptr, nullptr);
  REQUIRE(window != nullptr);
  CHECK(util::EnsureSchedulerRuns() == ERROR_SUCCESS);
  ::DestroyWindow(window);
  CHECK(util::EnsureSchedulerRuns() == ERROR_SUCCESS);
  ::SetCurrentDirectoryW(L"C:\\");
  CHECK(::WaitForSingleObject(done.Get(), kTimeoutMs) == WAIT_OBJECT_0);
  // One more run, so that a second one would have had its time.
  DWORD code = 0;
  REQUIRE(util::LaunchProgram(program.path(), L"last", &code, true));
  CHECK(program.Runs().size() == 2);
}
