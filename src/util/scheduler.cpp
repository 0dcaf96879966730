#include "util/scheduler.h"

#include <objidl.h>
#include <oleauto.h>
#include <mstask.h>
#include <taskschd.h>

#include <string_view>

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

constexpr DWORD kStartLimitMs = 10000;
constexpr DWORD kStartPauseMs = 20;

// A job made while the service still starts fails, and takes seconds to do so.
DWORD WaitUntilRunning(SC_HANDLE service) {
  const DWORD start = ::GetTickCount();
  SERVICE_STATUS status = {};
  while (::QueryServiceStatus(service, &status)) {
    if (status.dwCurrentState == SERVICE_RUNNING) return ERROR_SUCCESS;
    if (status.dwCurrentState == SERVICE_STOPPED) return ERROR_SERVICE_NOT_ACTIVE;
    if (::GetTickCount() - start >= kStartLimitMs) return ERROR_SERVICE_REQUEST_TIMEOUT;
    ::Sleep(kStartPauseMs);
  }
  return ::GetLastError();
}

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
  if (!::StartServiceA(service.Get(), 0, nullptr)) {
    const DWORD error = ::GetLastError();
    // Somebody else may have been faster.
    if (error != ERROR_SERVICE_ALREADY_RUNNING) return error;
  }
  return WaitUntilRunning(service.Get());
}

// Windows 95, 98 and Me have no services: the scheduler is a program with a hidden window.
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

HRESULT OpenScheduler(UniqueCom<ITaskScheduler>* scheduler) {
  return ::CoCreateInstance(CLSID_CTaskScheduler, nullptr, CLSCTX_INPROC_SERVER, IID_ITaskScheduler,
                            reinterpret_cast<void**>(scheduler->Receive()));
}

// The existing job of that name, so that it is made over, or a new one.
HRESULT OpenOrMakeJob(ITaskScheduler* scheduler, const std::wstring& name, UniqueCom<ITask>* task) {
  const HRESULT opened =
      scheduler->Activate(name.c_str(), IID_ITask, reinterpret_cast<IUnknown**>(task->Receive()));
  if (SUCCEEDED(opened)) return opened;
  return scheduler->NewWorkItem(name.c_str(), CLSID_CTask, IID_ITask,
                                reinterpret_cast<IUnknown**>(task->Receive()));
}

HRESULT SetProperties(ITask* task, const ScheduledJob& job) {
  HRESULT result = task->SetApplicationName(job.program.c_str());
  if (SUCCEEDED(result)) result = task->SetParameters(job.arguments.c_str());
  // A job that is made over may have had some.
  if (SUCCEEDED(result)) result = task->SetWorkingDirectory(L"");
  if (SUCCEEDED(result)) result = task->SetComment(L"");
  // Flags go before the account: only for a job that runs while its user is logged on does the
  // scheduler take one without a password.
  if (SUCCEEDED(result)) result = task->SetFlags(job.flags);
  if (SUCCEEDED(result)) result = task->SetAccountInformation(job.account.c_str(), nullptr);
  return result;
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
HRESULT SetOnlyTrigger(ITask* task, TASK_TRIGGER trigger) {
  WORD count = 0;
  HRESULT result = task->GetTriggerCount(&count);
  while (SUCCEEDED(result) && count != 0) result = task->DeleteTrigger(--count);
  UniqueCom<ITaskTrigger> slot;
  WORD index = 0;
  if (SUCCEEDED(result)) result = task->CreateTrigger(&index, slot.Receive());
  if (SUCCEEDED(result)) result = slot.Get()->SetTrigger(&trigger);
  return result;
}

HRESULT Save(ITask* task) {
  UniqueCom<IPersistFile> file;
  const HRESULT result =
      task->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(file.Receive()));
  return SUCCEEDED(result) ? file.Get()->Save(nullptr, TRUE) : result;
}

struct BstrTraits {
  using Handle = BSTR;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle handle) { return handle != nullptr; }
  static void Close(Handle handle) { ::SysFreeString(handle); }
};
using UniqueBstr = UniqueHandle<BstrTraits>;

UniqueBstr ToBstr(const std::wstring& text) {
  return UniqueBstr(::SysAllocStringLen(text.data(), static_cast<UINT>(text.size())));
}

// The root folder of the second interface; empty where the system has none.
UniqueCom<ITaskFolder> OpenTaskFolder() {
  UniqueCom<ITaskService> service;
  UniqueCom<ITaskFolder> folder;
  const VARIANT local = {};
  const UniqueBstr root = ToBstr(L"\\");
  if (root &&
      SUCCEEDED(::CoCreateInstance(__uuidof(TaskScheduler), nullptr, CLSCTX_INPROC_SERVER,
                                   __uuidof(ITaskService),
                                   reinterpret_cast<void**>(service.Receive()))) &&
      SUCCEEDED(service.Get()->Connect(local, local, local, local))) {
    // On failure the slot stays empty, and every caller asks it.
    (void)service.Get()->GetFolder(root.Get(), folder.Receive());
  }
  return folder;
}

void Append(std::wstring* xml, std::string_view text) { xml->append(text.begin(), text.end()); }

void AppendElement(std::wstring* xml, const char* name, std::wstring_view text) {
  const auto tag = [&](const char* begin) {
    Append(xml, begin);
    Append(xml, name);
    xml->push_back(L'>');
  };
  tag("<");
  for (const wchar_t character : text) {
    if (character == L'&') {
      Append(xml, "&amp;");
    } else if (character == L'<') {
      Append(xml, "&lt;");
    } else if (character == L'>') {
      Append(xml, "&gt;");
    } else {
      xml->push_back(character);
    }
  }
  tag("</");
}

// Without a zone behind it the time is local.
std::wstring TimeText(const SYSTEMTIME& time) {
  std::wstring text = L"0000-00-00T00:00:00";
  const auto put = [&](size_t end, WORD number) {
    for (; number != 0; number = static_cast<WORD>(number / 10)) {
      text[--end] = static_cast<wchar_t>(L'0' + number % 10);
    }
  };
  put(4, time.wYear);
  put(7, time.wMonth);
  put(10, time.wDay);
  put(13, time.wHour);
  put(16, time.wMinute);
  return text;
}

}  // namespace

DWORD EnsureSchedulerRuns() {
  return IsNtFamily() ? StartSchedulerService() : StartSchedulerProgram();
}

HRESULT CreateScheduledJob(const ScheduledJob& job) {
  const ComScope com;
  UniqueCom<ITaskScheduler> scheduler;
  UniqueCom<ITask> task;
  HRESULT result = OpenScheduler(&scheduler);
  if (SUCCEEDED(result)) result = OpenOrMakeJob(scheduler.Get(), job.name, &task);
  if (SUCCEEDED(result)) result = SetProperties(task.Get(), job);
  if (SUCCEEDED(result)) result = SetOnlyTrigger(task.Get(), TriggerAtLogon(job.start));
  if (SUCCEEDED(result)) result = Save(task.Get());
  return result;
}

std::wstring LogonTaskXml(const ScheduledJob& job) {
  std::wstring xml;
  Append(&xml,
         "<Task version=\"1.2\" xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\">"
         "<Triggers><LogonTrigger>");
  AppendElement(&xml, "StartBoundary", TimeText(job.start));
  AppendElement(&xml, "UserId", job.account);
  Append(&xml, "</LogonTrigger></Triggers><Principals><Principal id=\"Author\">");
  AppendElement(&xml, "UserId", job.account);
  Append(&xml,
         "<LogonType>InteractiveToken</LogonType></Principal></Principals><Settings>"
         "<DisallowStartIfOnBatteries>false</DisallowStartIfOnBatteries>"
         "<StopIfGoingOnBatteries>false</StopIfGoingOnBatteries><Hidden>true</Hidden>"
         "<ExecutionTimeLimit>PT0S</ExecutionTimeLimit></Settings><Actions Context=\"Author\">"
         "<Exec>");
  AppendElement(&xml, "Command", job.program);
  AppendElement(&xml, "Arguments", job.arguments);
  Append(&xml, "</Exec></Actions></Task>");
  return xml;
}

bool CreateLogonTask(const ScheduledJob& job) {
  const ComScope com;
  const UniqueCom<ITaskFolder> folder = OpenTaskFolder();
  const UniqueBstr name = ToBstr(job.name);
  const UniqueBstr xml = ToBstr(LogonTaskXml(job));
  UniqueCom<IRegisteredTask> task;
  const VARIANT none = {};  // The user and his rights are those of the principal.
  return folder && name && xml &&
         SUCCEEDED(folder.Get()->RegisterTask(name.Get(), xml.Get(), TASK_CREATE_OR_UPDATE, none,
                                              none, TASK_LOGON_INTERACTIVE_TOKEN, none,
                                              task.Receive()));
}

bool DeleteScheduledJob(const std::wstring& name) {
  const ComScope com;
  UniqueCom<ITaskScheduler> scheduler;
  return SUCCEEDED(OpenScheduler(&scheduler)) && SUCCEEDED(scheduler.Get()->Delete(name.c_str()));
}

bool DeleteLogonTask(const std::wstring& name) {
  const ComScope com;
  const UniqueCom<ITaskFolder> folder = OpenTaskFolder();
  const UniqueBstr text = ToBstr(name);
  return folder && text && SUCCEEDED(folder.Get()->DeleteTask(text.Get(), 0));
}

}  // namespace util
