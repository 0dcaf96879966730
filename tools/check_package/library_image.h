#ifndef CHECK_PACKAGE_LIBRARY_IMAGE_H_
#define CHECK_PACKAGE_LIBRARY_IMAGE_H_

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace check {

// What the bytes of a library say of it.
struct LibraryImage {
  bool is_32_bit = false;          // For the processors that 32-bit custom actions run on.
  std::set<std::wstring> exports;  // Of a 32-bit library.
};

// Nothing when the bytes are no library. Nothing in them is believed: every place that they point
// to is looked up within them.
std::optional<LibraryImage> ReadLibraryImage(const std::vector<unsigned char>& bytes);

}  // namespace check

#endif  // CHECK_PACKAGE_LIBRARY_IMAGE_H_
