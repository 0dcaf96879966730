#include "library_image.h"

#include <windows.h>

#include <cstdint>
#include <cstring>

namespace check {
namespace {

class Image {
 public:
  explicit Image(const std::vector<unsigned char>& bytes) : bytes_(bytes) {}

  template <typename Value>
  bool Read(uint64_t offset, Value* value) const {
    if (offset > bytes_.size() || bytes_.size() - offset < sizeof(Value)) return false;
    std::memcpy(value, bytes_.data() + static_cast<size_t>(offset), sizeof(Value));
    return true;
  }

  [[nodiscard]] std::wstring ReadName(uint64_t offset) const {
    std::wstring name;
    if (offset >= bytes_.size()) return name;
    for (auto at = static_cast<size_t>(offset); at < bytes_.size() && bytes_[at] != 0; ++at) {
      name += static_cast<wchar_t>(bytes_[at]);
    }
    return name;
  }

  // Where the sections put what the loaded library has at `address`.
  [[nodiscard]] uint64_t OffsetOf(uint32_t address) const {
    for (const IMAGE_SECTION_HEADER& section : sections_) {
      if (address >= section.VirtualAddress &&
          address - section.VirtualAddress < section.SizeOfRawData) {
        return uint64_t{section.PointerToRawData} + (address - section.VirtualAddress);
      }
    }
    return bytes_.size();
  }

  void ReadSections(uint64_t offset, unsigned count) {
    IMAGE_SECTION_HEADER section;
    for (; count != 0 && Read(offset, &section); --count, offset += sizeof(section)) {
      sections_.push_back(section);
    }
  }

 private:
  const std::vector<unsigned char>& bytes_;
  std::vector<IMAGE_SECTION_HEADER> sections_;
};

std::set<std::wstring> ReadExports(const Image& image, uint32_t directory) {
  std::set<std::wstring> names;
  IMAGE_EXPORT_DIRECTORY exports;
  if (!image.Read(image.OffsetOf(directory), &exports)) return names;
  const uint64_t list = image.OffsetOf(exports.AddressOfNames);
  for (uint32_t i = 0; i < exports.NumberOfNames; ++i) {
    uint32_t name = 0;
    if (!image.Read(list + uint64_t{i} * sizeof(name), &name)) break;
    names.insert(image.ReadName(image.OffsetOf(name)));
  }
  return names;
}

}  // namespace

std::optional<LibraryImage> ReadLibraryImage(const std::vector<unsigned char>& bytes) {
  Image image(bytes);
  IMAGE_DOS_HEADER dos;
  DWORD signature = 0;
  IMAGE_FILE_HEADER file;
  if (!image.Read(0, &dos) || dos.e_magic != IMAGE_DOS_SIGNATURE || dos.e_lfanew < 0) return {};
  const auto start = static_cast<uint64_t>(dos.e_lfanew);
  if (!image.Read(start, &signature) || signature != IMAGE_NT_SIGNATURE ||
      !image.Read(start + sizeof(signature), &file) ||
      (file.Characteristics & IMAGE_FILE_DLL) == 0) {
    return {};
  }
  LibraryImage library;
  const uint64_t optional_at = start + sizeof(signature) + sizeof(file);
  IMAGE_OPTIONAL_HEADER32 header;
  library.is_32_bit = file.Machine == IMAGE_FILE_MACHINE_I386 && image.Read(optional_at, &header);
  if (!library.is_32_bit) return library;
  image.ReadSections(optional_at + file.SizeOfOptionalHeader, file.NumberOfSections);
  library.exports =
      ReadExports(image, header.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
  return library;
}

}  // namespace check
