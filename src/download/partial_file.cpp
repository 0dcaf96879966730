#include "download/partial_file.h"

#include "util/ansi_text.h"
#include "util/files.h"
#include "util/text.h"

namespace download {
namespace {

constexpr char kSeparators[] = "\\/";
constexpr DWORD kInUseMs = 2000;
constexpr DWORD kInUsePollMs = 50;

// Scanners hold fresh files, and files that go, for a moment.
template <typename Call>
void TryWhileInUse(Call call) {
  const DWORD start = ::GetTickCount();
  while (!call()) {
    const DWORD error = ::GetLastError();
    if (error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION) return;
    if (::GetTickCount() - start >= kInUseMs) return;
    ::Sleep(kInUsePollMs);
  }
}

}  // namespace

uint32_t PartialFile::ReadOldSize() const {
  const util::UniqueFile file(::CreateFileA(path_.c_str(), GENERIC_READ,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  const uint64_t size = file ? util::ReadFileSize(file.Get()).value_or(0) : 0;
  return size <= 0xFFFFFFFF ? static_cast<uint32_t>(size) : 0;
}

uint32_t PartialFile::MakeFolders() const {
  const size_t separator = util::FindLastOf(path_, kSeparators);
  return separator == std::string::npos
             ? NO_ERROR
             : util::MakeFolders(util::ToWide(path_.substr(0, separator)));
}

uint32_t PartialFile::Open(bool go_on) {
  file_.Reset(::CreateFileA(path_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                            go_on ? OPEN_EXISTING : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file_) return ::GetLastError();
  if (!go_on) return NO_ERROR;
  // A low word of all ones is a position too, unless an error says otherwise.
  ::SetLastError(NO_ERROR);
  return ::SetFilePointer(file_.Get(), 0, nullptr, FILE_END) == INVALID_SET_FILE_POINTER
             ? ::GetLastError()
             : NO_ERROR;
}

uint32_t PartialFile::Write(const char* data, DWORD count) {
  DWORD written = 0;
  if (!::WriteFile(file_.Get(), data, count, &written, nullptr)) return ::GetLastError();
  return written == count ? NO_ERROR : ERROR_DISK_FULL;
}

std::optional<uint64_t> PartialFile::FlushedSize() const {
  ::FlushFileBuffers(file_.Get());
  return Size();
}

std::optional<uint64_t> PartialFile::Size() const { return util::ReadFileSize(file_.Get()); }

void PartialFile::Finish() {
  file_.Reset();
  TryWhileInUse([this] { return ::DeleteFileA(target_.c_str()); });
  TryWhileInUse([this] { return ::MoveFileA(path_.c_str(), target_.c_str()); });
}

}  // namespace download
