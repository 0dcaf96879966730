#include "download/browser_version.h"

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

#include "util/registry.h"
#include "util/text.h"

namespace download {
namespace {

std::optional<std::string> ReadText(HKEY key, const char* value) {
  char text[64];
  DWORD size = sizeof(text);
  if (::RegQueryValueExA(key, value, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size) !=
      ERROR_SUCCESS) {
    return std::nullopt;
  }
  const std::string_view stored(text, size);
  return std::string(stored.substr(0, stored.find('\0')));
}

}  // namespace

bool GetBrowserVersion(uint32_t* major, uint32_t* minor) {
  const util::UniqueRegistryKey key = util::OpenRegistryKey(
      HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Internet Explorer", KEY_READ);
  if (!key) return false;
  if (const auto version = ReadText(key.Get(), "Version")) {
    const std::string_view text = *version;
    const size_t dot = text.find('.');
    *major = util::ParseDecimal<uint32_t>(text);
    *minor = dot == text.npos ? 0 : util::ParseDecimal<uint32_t>(text.substr(dot + 1));
    return true;
  }
  // The first versions wrote a number of their own.
  struct {
    const char* text;
    uint32_t major;
  } static constexpr kFirstVersions[] = {{"100", 1}, {"101", 2}, {"102", 2}, {"103", 3}};
  const auto text = ReadText(key.Get(), "IVer");
  for (const auto& version : kFirstVersions) {
    if (text && *text == version.text) {
      *major = version.major;
      *minor = 0;
      return true;
    }
  }
  return false;
}

}  // namespace download
