#ifndef MSI_HANDLES_H_
#define MSI_HANDLES_H_

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <cwchar>
#include <string>
#include <utility>

#include "util/unique_handle.h"

namespace msi {

struct MsiHandleTraits {
  using Handle = MSIHANDLE;
  static Handle Invalid() { return 0; }
  static bool IsValid(Handle handle) { return handle != 0; }
  static void Close(Handle handle) { ::MsiCloseHandle(handle); }
};
using UniqueMsiHandle = util::UniqueHandle<MsiHandleTraits>;

// A view is closed as a query first, then as a handle.
struct MsiViewTraits : MsiHandleTraits {
  static void Close(Handle handle) {
    ::MsiViewClose(handle);
    ::MsiCloseHandle(handle);
  }
};
using UniqueMsiView = util::UniqueHandle<MsiViewTraits>;

// The one rule for reading the installer's strings: a sizing call with an empty buffer, then one
// read. There is no loop, so a value that grows in between makes the read fail. `call` is
// UINT(wchar_t* buffer, DWORD* length); the sizing call answers ERROR_MORE_DATA with the length
// without the terminator. On failure `value` is left as it was.
template <typename Call>
[[nodiscard]] UINT ReadSized(Call call, std::wstring* value) {
  wchar_t empty[1] = L"";
  DWORD length = 0;
  UINT error = call(empty, &length);
  std::wstring text;
  if (error == ERROR_MORE_DATA) {
    text.resize(++length);
    error = call(text.data(), &length);
    // Up to the terminator, not by the length: "[~]" in a formatted text is a null in its middle.
    if (error == ERROR_SUCCESS) text.resize(std::wcslen(text.c_str()));
  }
  if (error == ERROR_SUCCESS) *value = std::move(text);
  return error;
}

}  // namespace msi

#endif  // MSI_HANDLES_H_
