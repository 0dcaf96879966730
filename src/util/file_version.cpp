#include "util/file_version.h"

#include <vector>

#include "util/find_function.h"
#include "util/system_library.h"

namespace util {

FileVersionReader::FileVersionReader() : library_(LoadSystemLibrary("version.dll")) {
  if (!library_) return;
  get_size_ = FindFunction<decltype(get_size_)>(library_.Get(), "GetFileVersionInfoSizeA");
  get_ = FindFunction<decltype(get_)>(library_.Get(), "GetFileVersionInfoA");
  query_ = FindFunction<decltype(query_)>(library_.Get(), "VerQueryValueA");
}

std::optional<FileVersion> FileVersionReader::Read(const std::string& path) const {
  if (get_size_ == nullptr || get_ == nullptr || query_ == nullptr) return std::nullopt;
  DWORD unused = 0;
  const DWORD size_bytes = get_size_(path.c_str(), &unused);
  if (size_bytes == 0) return std::nullopt;
  std::vector<unsigned char> resource(size_bytes);
  void* found = nullptr;
  UINT found_bytes = 0;
  if (!get_(path.c_str(), 0, size_bytes, resource.data()) ||
      !query_(resource.data(), "\\", &found, &found_bytes) ||
      found_bytes < sizeof(VS_FIXEDFILEINFO)) {
    return std::nullopt;
  }
  const auto* const info = static_cast<const VS_FIXEDFILEINFO*>(found);
  return FileVersion{HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                     HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS)};
}

}  // namespace util
