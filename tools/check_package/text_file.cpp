#include "text_file.h"

#include <windows.h>

#include "util/unique_handle.h"

namespace check {
namespace {

std::wstring FromUtf8(const std::string& text) {
  const int length = static_cast<int>(text.size());
  const int size = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  std::wstring wide(static_cast<size_t>(size), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), size);
  return wide;
}

}  // namespace

std::wstring ReadTextFile(const std::wstring& path) {
  const util::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, 0, nullptr));
  if (!file) return {};
  std::string text;
  char block[4096];
  DWORD length = 0;
  while (::ReadFile(file.Get(), block, sizeof(block), &length, nullptr) && length != 0) {
    text.append(block, length);
  }
  if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
  return FromUtf8(text);
}

std::string ToUtf8(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int size =
      ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, narrow.data(), size, nullptr, nullptr);
  return narrow;
}

}  // namespace check
