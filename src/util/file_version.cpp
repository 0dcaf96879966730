#include "util/file_version.h"

#include <windows.h>

#include <vector>

namespace util {

std::optional<FileVersion> ReadFileVersion(const std::string& path) {
  DWORD unused = 0;
  const DWORD size_bytes = ::GetFileVersionInfoSizeA(path.c_str(), &unused);
  if (size_bytes == 0) return std::nullopt;
  std::vector<unsigned char> resource(size_bytes);
  void* found = nullptr;
  UINT found_bytes = 0;
  if (!::GetFileVersionInfoA(path.c_str(), 0, size_bytes, resource.data()) ||
      !::VerQueryValueA(resource.data(), "\\", &found, &found_bytes) ||
      found_bytes < sizeof(VS_FIXEDFILEINFO)) {
    return std::nullopt;
  }
  const auto* const info = static_cast<const VS_FIXEDFILEINFO*>(found);
  return FileVersion{HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                     HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS)};
}

}  // namespace util
