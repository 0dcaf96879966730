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
// UINT(wchar_t* or char* buffer, DWORD* length); the sizing call answers ERROR_MORE_DATA with the
// length without the terminator. The text goes into `buffer` at the position `*end`, which is moved
// behind it and stays where it was on failure. The buffer only grows: whoever reads many texts
// clears nothing in between.
template <typename Call, typename Character>
[[nodiscard]] UINT ReadSizedAt(Call call, std::basic_string<Character>* buffer, size_t* end) {
  Character empty[1] = {};
  DWORD length = 0;
  UINT error = call(empty, &length);
  if (error == ERROR_MORE_DATA) {
    ++length;
    if (buffer->size() < *end + length) buffer->resize(*end + length);
    Character* const text = buffer->data() + *end;
    error = call(text, &length);
    // Up to the terminator, not by the length: "[~]" in a formatted text is a null in its middle.
    if (error == ERROR_SUCCESS) *end += std::char_traits<Character>::length(text);
  }
  return error;
}

// The same for one text. On failure `value` is left as it was.
template <typename Call, typename Character>
[[nodiscard]] UINT ReadSized(Call call, std::basic_string<Character>* value) {
  std::basic_string<Character> text;
  size_t length = 0;
  const UINT error = ReadSizedAt(call, &text, &length);
  if (error != ERROR_SUCCESS) return error;
  text.resize(length);
  *value = std::move(text);
  return error;
}

}  // namespace msi

#endif  // MSI_HANDLES_H_
