#include "util/error_text.h"

#include "util/text.h"
#include "util/unique_handle.h"

namespace util {
namespace {

constexpr DWORD kFirstInternetError = 12000;
constexpr DWORD kEndOfInternetErrors = 12175;
constexpr DWORD kUserLanguage = 0x400;

}  // namespace

std::wstring ErrorText(DWORD code) {
  DWORD flags =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
  // Loaded by whoever met such an error; without a download there is none to name.
  const bool is_internet_error = code >= kFirstInternetError && code < kEndOfInternetErrors;
  const HMODULE internet = is_internet_error ? ::GetModuleHandleA("wininet.dll") : nullptr;
  if (internet != nullptr) flags |= FORMAT_MESSAGE_FROM_HMODULE;
  UniqueLocalMemory text;
  const DWORD length = ::FormatMessageA(flags, internet, code, kUserLanguage,
                                        reinterpret_cast<char*>(text.Receive()), 0, nullptr);
  // Compatibility: signed.
  if (length == 0) return ToSignedDecimal(static_cast<int32_t>(code));
  return ToWide(std::string_view(static_cast<const char*>(text.Get()), length));
}

}  // namespace util
