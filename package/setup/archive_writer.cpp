#include "archive_writer.h"

#include <zlib.h>

#include <algorithm>
#include <utility>

#include "util/files.h"
#include "util/scope_exit.h"
#include "util/text.h"

namespace setup {
namespace {

constexpr size_t kChunkBytes = 65536;

std::wstring Fold(std::wstring text) {
  for (wchar_t& letter : text) letter = util::FoldAscii(letter);
  return text;
}

}  // namespace

DWORD ArchiveWriter::Begin(const std::wstring& stub, const std::wstring& target) {
  const util::UniqueFile source = util::OpenForReading(stub);
  if (!source) return ::GetLastError();
  target_ = util::CreateForWriting(target);
  if (!target_) return ::GetLastError();
  std::string chunk(kChunkBytes, '\0');
  DWORD read = 0;
  do {
    if (!::ReadFile(source.Get(), chunk.data(), kChunkBytes, &read, nullptr)) {
      return ::GetLastError();
    }
    if (const DWORD error = Write(chunk.data(), read)) return error;
  } while (read > 0);
  return ERROR_SUCCESS;
}

DWORD ArchiveWriter::Add(int32_t group, const std::wstring& path) {
  ArchiveEntry entry;
  entry.group = group;
  entry.name = path.substr(path.find_last_of(L"\\/:") + 1);
  entry.offset = offset_;
  if (!IsSafeName(entry.name)) return ERROR_INVALID_NAME;
  for (const ArchiveEntry& other : entries_) {
    if (Fold(other.name) == Fold(entry.name)) return ERROR_DUP_NAME;
  }
  const util::UniqueFile source = util::OpenForReading(path);
  if (!source) return ::GetLastError();
  if (const DWORD error = Deflate(source.Get(), &entry)) return error;
  entry.packed_bytes = offset_ - entry.offset;
  entries_.push_back(std::move(entry));
  return ERROR_SUCCESS;
}

DWORD ArchiveWriter::Finish() {
  const std::string index = EncodeIndex(entries_);
  if (index.size() > kMostIndexBytes) return ERROR_FILE_TOO_LARGE;
  const uint64_t unaligned = (offset_ + index.size() + kFooterBytes) % kAlignment;
  const std::string filling(static_cast<size_t>((kAlignment - unaligned) % kAlignment), '\0');
  const std::string footer = EncodeFooter(offset_ + filling.size(), index);
  const std::string tail = filling + index + footer;
  const DWORD error = Write(tail.data(), tail.size());
  target_.Reset();
  return error;
}

DWORD ArchiveWriter::Write(const void* bytes, size_t count) {
  DWORD written = 0;
  if (!::WriteFile(target_.Get(), bytes, static_cast<DWORD>(count), &written, nullptr)) {
    return ::GetLastError();
  }
  offset_ += written;
  return written == count ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

DWORD ArchiveWriter::Deflate(HANDLE source, ArchiveEntry* entry) {
  std::string plain(kChunkBytes, '\0');
  std::string packed(kChunkBytes, '\0');
  z_stream stream = {};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 9, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
  const util::ScopeExit end([&] { deflateEnd(&stream); });
  for (bool is_last = false; !is_last;) {
    DWORD read = 0;
    if (!::ReadFile(source, plain.data(), kChunkBytes, &read, nullptr)) return ::GetLastError();
    is_last = read == 0;
    entry->bytes += read;
    entry->crc = crc32(entry->crc, reinterpret_cast<const Bytef*>(plain.data()), read);
    stream.next_in = reinterpret_cast<Bytef*>(plain.data());
    stream.avail_in = read;
    do {
      stream.next_out = reinterpret_cast<Bytef*>(packed.data());
      stream.avail_out = kChunkBytes;
      (void)deflate(&stream, is_last ? Z_FINISH : Z_NO_FLUSH);  // Fails for wrong use alone.
      if (const DWORD error = Write(packed.data(), kChunkBytes - stream.avail_out)) return error;
    } while (stream.avail_out == 0);
  }
  return ERROR_SUCCESS;
}

}  // namespace setup
