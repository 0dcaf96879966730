#include "util/scheduler.h"

#include <objidl.h>
#include <mstask.h>

#include "util/com.h"
#include "util/os_family.h"
#include "util/unique_handle.h"

namespace util {
namespace {

struct ServiceTraits {
  using Handle = SC_HANDLE;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle handle) { return handle != nullptr; }
  static void Close(Handle handle) { ::CloseServiceHandle(handle); }
};
using UniqueService = UniqueHandle<ServiceTraits>;

DWORD StartSchedulerService() {
  const UniqueService manager(::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
  if (!manager) return ::GetLastError();
  const UniqueService service(
      ::OpenServiceA(manager.Get(), "Schedule", SERVICE_QUERY_STATUS | SERVICE_START));
  if (!service) return ::GetLastError();
  SERVICE_STATUS status = {};
  if (::QueryServiceStatus(service.Get(), &status) && status.dwCurrentState == SERVICE_RUNNING) {
    return ERROR_SUCCESS;
  }
  return ::StartServiceA(service.Get(), 0, nullptr) ? ERROR_SUCCESS : ::GetLastError();
}

// The older family has no services: the scheduler is a program with a hidden window.
DWORD StartSchedulerProgram() {
  if (::FindWindowA("SAGEWINDOWCLASS", "SYSTEM AGENT COM WINDOW") != nullptr) return ERROR_SUCCESS;
  char path[MAX_PATH];
  char* name = nullptr;
  const DWORD length = ::SearchPathA(nullptr, "mstask.exe", nullptr, MAX_PATH, path, &name);
  if (length == 0) return ::GetLastError();
  if (length >= MAX_PATH) return ERROR_FILENAME_EXCED_RANGE;
  STARTUPINFOA startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started = {};
  if (!::CreateProcessA(path, nullptr, nullptr, nullptr, FALSE,
                        CREATE_NEW_CONSOLE | CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &startup,
                        &started)) {
    return ::GetLastError();
  }
  const UniqueKernelHandle process(started.hProcess);
  const UniqueKernelHandle thread(started.hThread);
  return ERROR_SUCCESS;
}

UniqueCom<ITaskScheduler> OpenScheduler() {
  UniqueCom<ITaskScheduler> scheduler;
  // On failure the slot stays empty, and every caller asks it.
  (void)::CoCreateInstance(CLSID_CTaskScheduler, nullptr, CLSCTX_INPROC_SERVER, IID_ITaskScheduler,
                           reinterpret_cast<void**>(scheduler.Receive()));
  return scheduler;
}

// The existing job of that name, so that it is made over, or a new one.
UniqueCom<ITask> OpenOrMakeJob(ITaskScheduler* scheduler, const std::wstring& name) {
  UniqueCom<ITask> task;
  if (FAILED(scheduler->Activate(name.c_str(), IID_ITask,
                                 reinterpret_cast<IUnknown**>(task.Receive())))) {
    (void)scheduler->NewWorkItem(name.c_str(), CLSID_CTask, IID_ITask,
                                 reinterpret_cast<IUnknown**>(task.Receive()));
  }
  return task;
}

bool SetProperties(ITask* task, const ScheduledJob& job) {
  // Flags go before the account: only for a job that runs while its user is logged on does the
  // scheduler take one without a password.
  return SUCCEEDED(task->SetApplicationName(job.program.c_str())) &&
         SUCCEEDED(task->SetParameters(job.arguments.c_str())) &&
         // A job that is made over may have had some.
         SUCCEEDED(task->SetWorkingDirectory(L"")) && SUCCEEDED(task->SetComment(L"")) &&
         SUCCEEDED(task->SetFlags(job.flags)) &&
         SUCCEEDED(task->SetAccountInformation(job.account.c_str(), nullptr));
}

TASK_TRIGGER TriggerAtLogon(const SYSTEMTIME& start) {
  TASK_TRIGGER trigger = {};
  trigger.cbTriggerSize = sizeof(trigger);
  trigger.wBeginYear = start.wYear;
  trigger.wBeginMonth = start.wMonth;
  trigger.wBeginDay = start.wDay;
  trigger.wStartHour = start.wHour;
  trigger.wStartMinute = start.wMinute;
  trigger.TriggerType = TASK_EVENT_TRIGGER_AT_LOGON;
  return trigger;
}

// A job that is made over has triggers already; it ends up with this one alone.
bool SetOnlyTrigger(ITask* task, TASK_TRIGGER trigger) {
  WORD count = 0;
  if (FAILED(task->GetTriggerCount(&count))) return false;
  while (count != 0) {
    if (FAILED(task->DeleteTrigger(--count))) return false;
  }
  UniqueCom<ITaskTrigger> slot;
  WORD index = 0;
  return SUCCEEDED(task->CreateTrigger(&index, slot.Receive())) &&
         SUCCEEDED(slot.Get()->SetTrigger(&trigger));
}

bool Save(ITask* task) {
  UniqueCom<IPersistFile> file;
  return SUCCEEDED(
             task->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(file.Receive()))) &&
         SUCCEEDED(file.Get()->Save(nullptr, TRUE));
}

}  // namespace

DWORD EnsureSchedulerRuns() {
  return IsNtFamily() ? StartSchedulerService() : StartSchedulerProgram();
}

bool CreateScheduledJob(const ScheduledJob& job) {
  const ComScope com;
  const UniqueCom<ITaskScheduler> scheduler = OpenScheduler();
  if (!scheduler) return false;
  const UniqueCom<ITask> task = OpenOrMakeJob(scheduler.Get(), job.name);
  return task && SetProperties(task.Get(), job) &&
         SetOnlyTrigger(task.Get(), TriggerAtLogon(job.start)) && Save(task.Get());
}

bool DeleteScheduledJob(const std::wstring& name) {
  const ComScope com;
  const UniqueCom<ITaskScheduler> scheduler = OpenScheduler();
  return scheduler && SUCCEEDED(scheduler.Get()->Delete(name.c_str()));
}

}  // namespace util
