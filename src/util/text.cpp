#include "util/text.h"

#include <windows.h>

namespace util {

std::string ToAnsi(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int needed =
      ::WideCharToMultiByte(CP_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) return {};
  std::string result(static_cast<size_t>(needed), '\0');
  ::WideCharToMultiByte(CP_ACP, 0, text.data(), length, result.data(), needed, nullptr, nullptr);
  return result;
}

std::wstring ToWide(std::string_view text) {
  const int length = static_cast<int>(text.size());
  const int needed = ::MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0);
  if (needed <= 0) return {};
  std::wstring result(static_cast<size_t>(needed), L'\0');
  ::MultiByteToWideChar(CP_ACP, 0, text.data(), length, result.data(), needed);
  return result;
}

std::vector<std::wstring> Split(std::wstring_view text, wchar_t separator) {
  std::vector<std::wstring> pieces;
  if (text.empty()) return pieces;
  for (;;) {
    const size_t end = text.find(separator);
    pieces.emplace_back(text.substr(0, end));
    if (end == std::wstring_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

std::wstring WithBackslash(std::wstring folder) {
  if (folder.empty() || folder.back() != L'\\') folder += L'\\';
  return folder;
}

std::wstring ToDecimal(uint64_t value) {
  wchar_t digits[20];
  wchar_t* const end = digits + 20;
  wchar_t* first = end;
  do {
    *--first = static_cast<wchar_t>(L'0' + value % 10);
    value /= 10;
  } while (value != 0);
  return std::wstring(first, end);
}

std::wstring ToSignedDecimal(int64_t value) {
  if (value >= 0) return ToDecimal(static_cast<uint64_t>(value));
  return L"-" + ToDecimal(uint64_t{0} - static_cast<uint64_t>(value));
}

}  // namespace util
