#include "util/scheduler.h"

#include <windows.h>
#include <objidl.h>
#include <mstask.h>

#include <doctest.h>

#include <string>

#include "util/com.h"
#include "util/find_function.h"
#include "util/text.h"
#include "util/unique_handle.h"

namespace {

// Names with a full stop, as "x.job", are refused by Wine.
std::wstring JobName() { return L"prereq test " + util::ToDecimal(::GetCurrentProcessId()); }

// Wine's service opens a job that has changed, for a moment, and until then it cannot be deleted.
bool DeleteJob() {
  for (int attempt = 0; attempt < 200; ++attempt) {
    if (util::DeleteScheduledJob(JobName())) return true;
  }
  return false;
}

std::wstring TakeText(LPWSTR text) {
  const std::wstring result = text == nullptr ? L"" : text;
  ::CoTaskMemFree(text);
  return result;
}

struct StoredJob {
  bool found = false;
  DWORD flags = 0;
  std::wstring program;
  std::wstring arguments;
  WORD trigger_count = 0;
  TASK_TRIGGER trigger = {};
};

// What the scheduler itself says about the job.
StoredJob ReadJob(const std::wstring& name) {
  StoredJob job;
  const util::ComScope com;
  util::UniqueCom<ITaskScheduler> scheduler;
  REQUIRE(SUCCEEDED(::CoCreateInstance(CLSID_CTaskScheduler, nullptr, CLSCTX_INPROC_SERVER,
                                       IID_ITaskScheduler,
                                       reinterpret_cast<void**>(scheduler.Receive()))));
  util::UniqueCom<ITask> task;
  if (FAILED(scheduler.Get()->Activate(name.c_str(), IID_ITask,
                                       reinterpret_cast<IUnknown**>(task.Receive())))) {
    return job;
  }
  job.found = true;
  LPWSTR text = nullptr;
  task.Get()->GetFlags(&job.flags);
  if (SUCCEEDED(task.Get()->GetApplicationName(&text))) job.program = TakeText(text);
  if (SUCCEEDED(task.Get()->GetParameters(&text))) job.arguments = TakeText(text);
  task.Get()->GetTriggerCount(&job.trigger_count);
  util::UniqueCom<ITaskTrigger> trigger;
  if (SUCCEEDED(task.Get()->GetTrigger(0, trigger.Receive()))) {
    job.trigger.cbTriggerSize = sizeof(job.trigger);
    trigger.Get()->GetTrigger(&job.trigger);
  }
  return job;
}

constexpr SYSTEMTIME kStart = {.wYear = 2031,
                               .wMonth = 11,
                               .wDayOfWeek = 0,
                               .wDay = 30,
                               .wHour = 23,
                               .wMinute = 58,
                               .wSecond = 59,
                               .wMilliseconds = 9};

util::ScheduledJob LogonJob(const std::wstring& arguments) {
  return {.name = JobName(),
          .program = L"C:\\a folder\\setup.exe",
          .arguments = arguments,
          .account = L"domain\\user",
          .flags = TASK_FLAG_HIDDEN | TASK_FLAG_RUN_ONLY_IF_LOGGED_ON,
          .start = kStart};
}

bool NothingOfTheSchedulerIsOpen() {
  using Answer = HRESULT(WINAPI*)();
  const HMODULE library = ::GetModuleHandleW(L"mstask.dll");
  REQUIRE(library != nullptr);
  const auto can_unload = util::FindFunction<Answer>(library, "DllCanUnloadNow");
  REQUIRE((can_unload != nullptr));
  return can_unload() == S_OK;
}

}  // namespace

TEST_CASE("a second job of a name takes the place of the first, whole") {
  const util::UniqueModule library(::LoadLibraryW(L"mstask.dll"));
  REQUIRE(util::CreateScheduledJob(LogonJob(L"first")));
  const std::wstring arguments =
      L"/i \"C:\\p.msi\"QX_RESUME=1 A=\"" + std::wstring(5000, L'x') + L"\" B=\"C:\\\\\"";
  REQUIRE(util::CreateScheduledJob(LogonJob(arguments)));

  const StoredJob job = ReadJob(JobName());
  CHECK(job.found);
  CHECK(job.flags == 8704);
  CHECK(job.program == L"C:\\a folder\\setup.exe");
  CHECK(job.arguments == arguments);
  CHECK(job.trigger_count == 1);
  CHECK(job.trigger.TriggerType == TASK_EVENT_TRIGGER_AT_LOGON);
  CHECK(job.trigger.wBeginYear == 2031);
  CHECK(job.trigger.wBeginMonth == 11);
  CHECK(job.trigger.wBeginDay == 30);
  CHECK(job.trigger.wStartHour == 23);
  CHECK(job.trigger.wStartMinute == 58);

  CHECK(DeleteJob());
  CHECK_FALSE(ReadJob(JobName()).found);
  CHECK_FALSE(util::DeleteScheduledJob(JobName()));
  CHECK(NothingOfTheSchedulerIsOpen());
}

TEST_CASE("a trigger that the scheduler refuses leaves no job behind") {
  const util::UniqueModule library(::LoadLibraryW(L"mstask.dll"));
  util::ScheduledJob job = LogonJob(L"x");
  job.start.wMonth = 13;
  CHECK_FALSE(util::CreateScheduledJob(job));
  CHECK_FALSE(ReadJob(JobName()).found);
  CHECK(NothingOfTheSchedulerIsOpen());
}

TEST_CASE("the thread's COM is left as it was found") {
  enum Found { kNone, kApartment, kMultithreaded };
  for (const Found found : {kNone, kApartment, kMultithreaded}) {
    CAPTURE(found);
    if (found != kNone) {
      REQUIRE(::CoInitializeEx(nullptr, found == kApartment ? COINIT_APARTMENTTHREADED
                                                            : COINIT_MULTITHREADED) == S_OK);
    }
    CHECK(util::CreateScheduledJob(LogonJob(L"x")));
    CHECK(DeleteJob());

    const HRESULT kind = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    CHECK(kind == (found == kNone ? S_OK : found == kApartment ? RPC_E_CHANGED_MODE : S_FALSE));
    if (SUCCEEDED(kind)) ::CoUninitialize();
    if (found != kNone) ::CoUninitialize();
    // One more than was asked for would show here.
    CHECK(::CoInitializeEx(nullptr, COINIT_MULTITHREADED) == S_OK);
    ::CoUninitialize();
  }
}
