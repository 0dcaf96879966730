// Takes back what an installation has left behind, at the ends at which the installer runs one
// single action: a cancelled and a failed one. Custom actions; they answer 0 whatever happened.

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

namespace {

constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr DWORD kCodeChars = 40;  // A product code and its terminator fit.

// The value that starts the installation again at the next logon, named by the product code. The
// clean-up of the library leaves it where no scheduled job could be made.
void RemoveRunValue(MSIHANDLE install) {
  wchar_t code[kCodeChars] = L"";
  DWORD length = kCodeChars;
  HKEY key = nullptr;
  if (::MsiGetPropertyW(install, L"ProductCode", code, &length) != ERROR_SUCCESS || length == 0 ||
      ::RegOpenKeyExW(HKEY_CURRENT_USER, kRunKey, 0, KEY_SET_VALUE, &key) != ERROR_SUCCESS) {
    return;
  }
  ::RegDeleteValueW(key, code);
  ::RegCloseKey(key);
}

}  // namespace

// Behind the clean-up of an installation that went to its end.
extern "C" UINT WINAPI TakeRunValueBack(MSIHANDLE install) {
  RemoveRunValue(install);
  return ERROR_SUCCESS;
}

// The clean-up and the value in one: each of the installer's termination flags runs one action.
extern "C" UINT WINAPI CleanUp(MSIHANDLE install) {
  ::MsiDoActionW(install, L"QX_CleanPrereq");
  RemoveRunValue(install);
  return ERROR_SUCCESS;
}
