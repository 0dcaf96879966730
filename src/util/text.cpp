#include "util/text.h"

#include <windows.h>

namespace util {
namespace {

// Empty when the system refuses.
std::string Convert(std::wstring_view text, UINT code_page, DWORD flags) {
  const int length = static_cast<int>(text.size());
  const int needed =
      ::WideCharToMultiByte(code_page, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) return {};
  std::string result(static_cast<size_t>(needed), '\0');
  if (::WideCharToMultiByte(code_page, flags, text.data(), length, result.data(), needed, nullptr,
                            nullptr) != needed) {
    result.clear();
  }
  return result;
}

}  // namespace

std::string ToAnsi(std::wstring_view text, unsigned code_page) {
  std::string result = Convert(text, code_page, WC_NO_BEST_FIT_CHARS);
  if (!result.empty() || text.empty()) return result;
  // UTF-8 and other code pages that have every character refuse the flag, as do Windows 95 and
  // NT 4.0.
  const DWORD error = ::GetLastError();
  const bool flag_refused = error == ERROR_INVALID_FLAGS || error == ERROR_INVALID_PARAMETER;
  return flag_refused ? Convert(text, code_page, 0) : result;
}

std::wstring ToWide(std::string_view text, unsigned code_page) {
  const int length = static_cast<int>(text.size());
  const int needed = ::MultiByteToWideChar(code_page, 0, text.data(), length, nullptr, 0);
  if (needed <= 0) return {};
  std::wstring result(static_cast<size_t>(needed), L'\0');
  if (::MultiByteToWideChar(code_page, 0, text.data(), length, result.data(), needed) != needed) {
    result.clear();
  }
  return result;
}

std::optional<std::string> TryToAnsi(std::wstring_view text, unsigned code_page) {
  std::string result = ToAnsi(text, code_page);
  // The way back tells for every code page; the system's own word is refused for some.
  if (ToWide(result, code_page) != text) return std::nullopt;
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

std::wstring Concat(std::initializer_list<std::wstring_view> pieces) {
  std::wstring text;
  for (const std::wstring_view piece : pieces) text += piece;
  return text;
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
