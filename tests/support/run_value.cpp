#include "support/run_value.h"

#include <windows.h>

#include <doctest.h>

#include "util/text.h"
#include "util/unique_handle.h"

namespace test {
namespace {

util::UniqueRegistryKey OpenRunKey() {
  util::UniqueRegistryKey key;
  REQUIRE(::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Run",
                            0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, key.Receive(),
                            nullptr) == ERROR_SUCCESS);
  return key;
}

}  // namespace

std::string ReadRunValue(const std::wstring& name) {
  DWORD type = 0;
  wchar_t text[2001];
  DWORD bytes = sizeof(text);
  const LONG error = ::RegQueryValueExW(OpenRunKey().Get(), name.c_str(), nullptr, &type,
                                        reinterpret_cast<BYTE*>(text), &bytes);
  if (error == ERROR_FILE_NOT_FOUND) return kNoRunValue;
  const size_t length = bytes / sizeof(wchar_t);
  if (error != ERROR_SUCCESS || type != REG_SZ || length == 0 || text[length - 1] != L'\0') {
    return "(malformed)";
  }
  return util::ToAnsi(std::wstring_view(text, length - 1));
}

void WriteRunValue(const std::wstring& name) {
  REQUIRE(::RegSetValueExW(OpenRunKey().Get(), name.c_str(), 0, REG_SZ,
                           reinterpret_cast<const BYTE*>(L"x"), 4) == ERROR_SUCCESS);
}

void DeleteRunValue(const std::wstring& name) {
  (void)::RegDeleteValueW(OpenRunKey().Get(), name.c_str());
}

void StartSchedulerService() {
  static const bool once = [] {
    const SC_HANDLE manager = ::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT);
    const SC_HANDLE service =
        ::OpenServiceA(manager, "Schedule", SERVICE_QUERY_STATUS | SERVICE_START);
    ::StartServiceA(service, 0, nullptr);
    SERVICE_STATUS status = {};
    for (int left = 1000; left > 0 && status.dwCurrentState != SERVICE_RUNNING; --left) {
      ::Sleep(10);
      ::QueryServiceStatus(service, &status);
    }
    ::CloseServiceHandle(service);
    ::CloseServiceHandle(manager);
    return true;
  }();
  (void)once;
}

}  // namespace test
