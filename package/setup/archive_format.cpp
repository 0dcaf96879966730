#include "archive_format.h"

#include <zlib.h>

#include <algorithm>

#include "util/text.h"

namespace setup {
namespace {

constexpr std::string_view kMagic = "QXSETUP1";
constexpr size_t kLongestName = 200;

template <typename Number>
void Put(std::string* bytes, Number number) {
  for (size_t i = 0; i < sizeof(Number); ++i) {
    bytes->push_back(static_cast<char>(static_cast<uint64_t>(number) >> (8 * i)));
  }
}

// Takes numbers from the front of `bytes`. False, and nothing is taken, when they are too few.
template <typename Number>
bool Take(std::string_view* bytes, Number* number) {
  if (bytes->size() < sizeof(Number)) return false;
  uint64_t value = 0;
  for (size_t i = 0; i < sizeof(Number); ++i) {
    value |= uint64_t{static_cast<unsigned char>((*bytes)[i])} << (8 * i);
  }
  *number = static_cast<Number>(value);
  bytes->remove_prefix(sizeof(Number));
  return true;
}

bool TakeName(std::string_view* bytes, std::wstring* name) {
  uint16_t length = 0;
  if (!Take(bytes, &length)) return false;
  name->clear();
  for (; length > 0; --length) {
    uint16_t unit = 0;
    if (!Take(bytes, &unit)) return false;
    name->push_back(static_cast<wchar_t>(unit));
  }
  return true;
}

bool TakeEntry(std::string_view* bytes, ArchiveEntry* entry) {
  return Take(bytes, &entry->group) && Take(bytes, &entry->offset) &&
         Take(bytes, &entry->packed_bytes) && Take(bytes, &entry->bytes) &&
         Take(bytes, &entry->crc) && TakeName(bytes, &entry->name);
}

uint32_t Crc(std::string_view bytes) {
  return crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
}

// Names of devices, also with an extension: "nul", "COM1.txt".
bool IsDeviceName(std::wstring_view name) {
  std::wstring stem(name.substr(0, name.find(L'.')));
  for (wchar_t& letter : stem) letter = util::FoldAscii(letter);
  stem.erase(stem.find_last_not_of(L' ') + 1);
  for (const std::wstring_view device : {L"con", L"prn", L"aux", L"nul", L"conin$", L"conout$"}) {
    if (stem == device) return true;
  }
  return stem.size() == 4 && (stem.starts_with(L"com") || stem.starts_with(L"lpt")) &&
         std::wstring_view(L"0123456789\x00B9\x00B2\x00B3").find(stem[3]) != std::wstring::npos;
}

}  // namespace

bool IsSafeName(std::wstring_view name) {
  if (name.empty() || name.size() > kLongestName || IsDeviceName(name)) return false;
  // The system drops these at the end; "." and ".." are among them.
  if (name.back() == L'.' || name.back() == L' ') return false;
  return std::none_of(name.begin(), name.end(), [](wchar_t letter) {
    return letter < L' ' || std::wstring_view(L"\\/:*?\"<>|").find(letter) != std::wstring::npos;
  });
}

std::string EncodeIndex(const std::vector<ArchiveEntry>& entries) {
  std::string bytes;
  for (const ArchiveEntry& entry : entries) {
    Put(&bytes, entry.group);
    Put(&bytes, entry.offset);
    Put(&bytes, entry.packed_bytes);
    Put(&bytes, entry.bytes);
    Put(&bytes, entry.crc);
    Put(&bytes, static_cast<uint16_t>(entry.name.size()));
    for (const wchar_t unit : entry.name) Put(&bytes, static_cast<uint16_t>(unit));
  }
  return bytes;
}

std::string EncodeFooter(uint64_t index_offset, std::string_view index) {
  std::string bytes;
  Put(&bytes, index_offset);
  Put(&bytes, static_cast<uint32_t>(index.size()));
  Put(&bytes, Crc(index));
  Put(&bytes, Crc(bytes));
  bytes += kMagic;
  return bytes;
}

std::optional<ArchiveFooter> DecodeFooter(std::string_view bytes) {
  if (bytes.size() != kFooterBytes || !bytes.ends_with(kMagic)) return std::nullopt;
  ArchiveFooter footer;
  uint32_t crc = 0;
  const uint32_t expected = Crc(bytes.substr(0, 16));
  if (!Take(&bytes, &footer.index_offset) || !Take(&bytes, &footer.index_bytes) ||
      !Take(&bytes, &footer.index_crc) || !Take(&bytes, &crc) || crc != expected ||
      footer.index_bytes > kMostIndexBytes) {
    return std::nullopt;
  }
  return footer;
}

std::optional<std::vector<ArchiveEntry>> DecodeIndex(std::string_view bytes,
                                                     const ArchiveFooter& footer) {
  if (bytes.size() != footer.index_bytes || Crc(bytes) != footer.index_crc) return std::nullopt;
  std::vector<ArchiveEntry> entries;
  while (!bytes.empty()) {
    ArchiveEntry entry;
    if (!TakeEntry(&bytes, &entry) || !IsSafeName(entry.name) ||
        entry.offset > footer.index_offset ||
        entry.packed_bytes > footer.index_offset - entry.offset) {
      return std::nullopt;
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace setup
