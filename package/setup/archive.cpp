#include "archive.h"

#include <zlib.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "util/files.h"
#include "util/os_family.h"
#include "util/scope_exit.h"
#include "util/text.h"

namespace setup {
namespace {

constexpr size_t kChunkBytes = 65536;

bool ReadAt(HANDLE file, uint64_t offset, void* buffer, size_t bytes) {
  auto high = static_cast<LONG>(offset >> 32);
  ::SetLastError(NO_ERROR);
  if (::SetFilePointer(file, static_cast<LONG>(offset), &high, FILE_BEGIN) ==
          INVALID_SET_FILE_POINTER &&
      ::GetLastError() != NO_ERROR) {
    return false;
  }
  DWORD read = 0;
  return ::ReadFile(file, buffer, static_cast<DWORD>(bytes), &read, nullptr) && read == bytes;
}

// Where a signature begins that was appended to a 32-bit program; else the end of the file.
uint64_t EndOfArchive(HANDLE file, uint64_t file_bytes) {
  constexpr uint64_t kSignatureDirectory = 24 + 96 + 4 * 8;  // From the PE header on.
  uint32_t header = 0;
  uint32_t magic = 0;
  uint32_t signature[2] = {};
  if (!ReadAt(file, 0x3C, &header, sizeof(header)) ||
      !ReadAt(file, header, &magic, sizeof(magic)) || magic != IMAGE_NT_SIGNATURE ||
      !ReadAt(file, header + kSignatureDirectory, signature, sizeof(signature))) {
    return file_bytes;
  }
  const bool is_signed = signature[0] != 0 && uint64_t{signature[0]} + signature[1] == file_bytes;
  return is_signed ? signature[0] : file_bytes;
}

bool Move(const std::wstring& from, const std::wstring& to) {
  return (util::IsNtFamily()
              ? ::MoveFileW(from.c_str(), to.c_str())
              : ::MoveFileA(util::ToAnsi(from).c_str(), util::ToAnsi(to).c_str())) != FALSE;
}

// What the system says of a failure, or else `fallback`: a failure without a reason must not look
// like a success.
DWORD LastErrorOr(DWORD fallback) {
  const DWORD error = ::GetLastError();
  return error != NO_ERROR ? error : fallback;
}

}  // namespace

DWORD Archive::Open(const std::wstring& path) {
  file_ = util::OpenForReading(path);
  const std::optional<uint64_t> file_bytes = util::ReadFileSize(path);
  if (!file_ || !file_bytes) return LastErrorOr(ERROR_READ_FAULT);
  const uint64_t end = EndOfArchive(file_.Get(), *file_bytes);
  char footer_bytes[kFooterBytes];
  if (end < kFooterBytes || !ReadAt(file_.Get(), end - kFooterBytes, footer_bytes, kFooterBytes)) {
    return ERROR_RESOURCE_DATA_NOT_FOUND;
  }
  const auto footer = DecodeFooter({footer_bytes, kFooterBytes});
  if (!footer) return ERROR_RESOURCE_DATA_NOT_FOUND;

  const uint64_t index_end = end - kFooterBytes;
  if (footer->index_offset > index_end || index_end - footer->index_offset != footer->index_bytes) {
    return ERROR_FILE_CORRUPT;
  }
  std::string index(footer->index_bytes, '\0');
  if (!ReadAt(file_.Get(), footer->index_offset, index.data(), index.size())) {
    return ERROR_FILE_CORRUPT;
  }
  auto entries = DecodeIndex(index, *footer);
  if (!entries) return ERROR_FILE_CORRUPT;
  entries_ = std::move(*entries);
  return ERROR_SUCCESS;
}

DWORD Archive::Unpack(const ArchiveEntry& entry, const std::wstring& path,
                      UnpackListener* listener) const {
  const std::wstring partial = path + L".part";
  util::UniqueFile target = util::CreateForWriting(partial);
  if (!target) return LastErrorOr(ERROR_WRITE_FAULT);
  DWORD error = Inflate(entry, target.Get(), listener);
  target.Reset();
  if (error == ERROR_SUCCESS) {
    (void)util::RemoveFile(path);  // What cannot be removed cannot be moved to.
    if (!Move(partial, path)) error = LastErrorOr(ERROR_WRITE_FAULT);
  }
  if (error != ERROR_SUCCESS) (void)util::RemoveFile(partial);
  return error;
}

DWORD Archive::Inflate(const ArchiveEntry& entry, HANDLE target, UnpackListener* listener) const {
  std::string packed(kChunkBytes, '\0');
  std::string unpacked(kChunkBytes, '\0');
  z_stream stream = {};
  if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) return ERROR_NOT_ENOUGH_MEMORY;
  const util::ScopeExit end([&] { inflateEnd(&stream); });

  uint64_t offset = entry.offset;
  uint64_t packed_left = entry.packed_bytes;
  uint64_t written = 0;
  uint32_t crc = 0;
  for (int state = Z_OK; state != Z_STREAM_END;) {
    if (stream.avail_in == 0 && packed_left > 0) {
      const auto chunk = static_cast<uInt>(std::min<uint64_t>(packed_left, kChunkBytes));
      if (!ReadAt(file_.Get(), offset, packed.data(), chunk)) return ERROR_FILE_CORRUPT;
      stream.next_in = reinterpret_cast<Bytef*>(packed.data());
      stream.avail_in = chunk;
      offset += chunk;
      packed_left -= chunk;
    }
    stream.next_out = reinterpret_cast<Bytef*>(unpacked.data());
    stream.avail_out = kChunkBytes;
    // Without input it still may hold output back; with neither it fails.
    state = inflate(&stream, Z_NO_FLUSH);
    if (state != Z_OK && state != Z_STREAM_END) return ERROR_FILE_CORRUPT;
    const DWORD bytes = kChunkBytes - stream.avail_out;
    if (bytes > entry.bytes - written) return ERROR_FILE_CORRUPT;
    crc = crc32(crc, reinterpret_cast<const Bytef*>(unpacked.data()), bytes);
    DWORD done = 0;
    ::SetLastError(NO_ERROR);
    if (!::WriteFile(target, unpacked.data(), bytes, &done, nullptr))
      return LastErrorOr(ERROR_WRITE_FAULT);
    if (done != bytes) return ERROR_DISK_FULL;
    written += bytes;
    if (listener != nullptr && !listener->OnUnpacked(written)) return ERROR_INSTALL_USEREXIT;
  }
  const bool is_whole = written == entry.bytes && crc == entry.crc && packed_left == 0;
  return is_whole ? ERROR_SUCCESS : ERROR_FILE_CORRUPT;
}

}  // namespace setup
