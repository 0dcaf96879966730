#include "msi/streams.h"

#include "util/files.h"

namespace msi {
namespace {

constexpr DWORD kChunkBytes = 51200;

}  // namespace

UINT ReadStream(MSIHANDLE record, UINT field, std::vector<unsigned char>* bytes) {
  bytes->clear();
  DWORD size = 0;
  if (::MsiRecordReadStream(record, field, nullptr, &size) != ERROR_SUCCESS) {
    return ERROR_INSTALL_FAILURE;
  }
  if (size == 0) return ERROR_SUCCESS;
  bytes->resize(size);
  if (::MsiRecordReadStream(record, field, reinterpret_cast<char*>(bytes->data()), &size) ==
      ERROR_SUCCESS) {
    bytes->resize(size);
    return ERROR_SUCCESS;
  }
  bytes->clear();
  return ERROR_INSTALL_FAILURE;
}

bool WriteStreamToFile(MSIHANDLE record, UINT field, const std::wstring& path) {
  const util::UniqueFile file = util::CreateForWriting(path);
  return file && WriteStream(record, field, file.Get(), nullptr);
}

bool WriteStream(MSIHANDLE record, UINT field, HANDLE file, util::Md5* digest) {
  const DWORD size = ::MsiRecordDataSize(record, field);
  std::vector<char> buffer(kChunkBytes);
  DWORD total = 0;
  for (;;) {
    DWORD read = kChunkBytes;
    if (::MsiRecordReadStream(record, field, buffer.data(), &read) != ERROR_SUCCESS) break;
    if (read == 0) break;
    DWORD written = 0;
    if (!::WriteFile(file, buffer.data(), read, &written, nullptr)) break;
    if (digest != nullptr) digest->Update(buffer.data(), written);
    total += written;
  }
  return total == size;
}

}  // namespace msi
