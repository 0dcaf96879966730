#include "extraction.h"

#include <algorithm>
#include <string_view>

#include "archive.h"
#include "contract/extraction.h"
#include "folders.h"
#include "util/files.h"
#include "util/pipe_channel.h"
#include "util/text.h"

using contract::MessageKind;

namespace setup {
namespace {

// The library makes its pipe after it has started this program.
constexpr DWORD kWaitForListenerMs = 30000;
constexpr DWORD kPauseMs = 20;

// The progress bar has this many steps; reports that move it by less are not worth their round
// trip.
constexpr uint64_t kReports = 4096;

// The client's side of the talk. Without a callback id nobody is told, and nobody objects. After
// the first answer that is not "OK" nothing more is said but the end.
class Reporter : public UnpackListener {
 public:
  Reporter() = default;
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;
  ~Reporter() override {
    if (has_listener_) (void)channel_.AskClose();
  }

  [[nodiscard]] bool Connect(const std::string& callback_id) {
    if (callback_id.empty()) return true;
    const DWORD start = ::GetTickCount();
    const auto server = util::ParseDecimal<DWORD>(std::string_view(callback_id));
    while (!channel_.Open(util::PipeChannel::Side::kClient, callback_id, server)) {
      if (::GetTickCount() - start >= kWaitForListenerMs) return false;
      ::Sleep(kPauseMs);
    }
    has_listener_ = true;
    return true;
  }

  [[nodiscard]] bool SendTotal(uint64_t bytes) {
    report_step_ = bytes / kReports;
    return Begin(MessageKind::kTotal) && SendBytes(bytes);
  }
  [[nodiscard]] bool SendGroup(int32_t group) {
    return Begin(MessageKind::kGroupStart) && Check(channel_.AskInteger(group));
  }
  [[nodiscard]] bool SendFile(const std::wstring& path) {
    return Begin(MessageKind::kFile) && Check(channel_.Ask(path));
  }
  // True when there is space now; without a listener the lack of it is final.
  [[nodiscard]] bool AskForSpace(const std::wstring& path, uint64_t bytes) {
    return has_listener_ && Begin(MessageKind::kOutOfDiskSpace) && Check(channel_.Ask(path)) &&
           SendBytes(bytes);
  }

  // The files before this one have `bytes` in all.
  void StartFile(uint64_t bytes) { bytes_before_ = bytes; }
  bool OnUnpacked(uint64_t bytes) override {
    const uint64_t done = bytes_before_ + bytes;
    if (done < reported_ || done - reported_ < report_step_) return true;
    reported_ = done;
    return SendProgress(done);
  }
  [[nodiscard]] bool SendProgress(uint64_t done) {
    return Begin(MessageKind::kProgress) && SendBytes(done);
  }

 private:
  bool Begin(MessageKind kind) {
    return !has_listener_ || (going_on_ && Check(channel_.AskInteger(static_cast<int32_t>(kind))));
  }
  bool SendBytes(uint64_t bytes) {
    return !has_listener_ || Check(channel_.AskInteger64(static_cast<int64_t>(bytes)));
  }
  bool Check(const std::wstring& answer) {
    if (has_listener_) going_on_ = answer == contract::kGoOnText;
    return going_on_;
  }

  util::PipeChannel channel_;
  bool has_listener_ = false;
  bool going_on_ = true;
  uint64_t report_step_ = 0;
  uint64_t bytes_before_ = 0;
  uint64_t reported_ = 0;
};

// A folder that cannot be asked is tried.
bool HasSpace(const std::wstring& folder, uint64_t bytes) {
  ULARGE_INTEGER available = {};
  return !::GetDiskFreeSpaceExA(util::ToAnsi(util::WithBackslash(folder)).c_str(), &available,
                                nullptr, nullptr) ||
         available.QuadPart >= bytes;
}

DWORD UnpackFile(const Archive& archive, const ArchiveEntry& entry, const std::wstring& folder,
                 Reporter* reporter) {
  const std::wstring path = util::WithBackslash(folder) + entry.name;
  bool is_short = !HasSpace(folder, entry.bytes);
  DWORD error = ERROR_DISK_FULL;
  do {
    if (is_short && !reporter->AskForSpace(path, entry.bytes)) return error;
    error = archive.Unpack(entry, path, reporter);
    // Others write to the drive too.
    is_short = error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL;
  } while (is_short);
  if (error != ERROR_SUCCESS) return error;
  return reporter->SendFile(path) ? ERROR_SUCCESS : ERROR_INSTALL_USEREXIT;
}

DWORD UnpackGroups(const Archive& archive, const ExtractRequest& request, Reporter* reporter) {
  const auto belongs_to = [](int32_t group) {
    return [group](const ArchiveEntry& entry) { return entry.group == group; };
  };
  uint64_t total = 0;
  for (const int32_t group : request.groups) {
    for (const ArchiveEntry& entry : archive.entries()) {
      if (entry.group == group) total += entry.bytes;
    }
  }
  if (!reporter->SendTotal(total)) return ERROR_INSTALL_USEREXIT;
  uint64_t done = 0;
  for (const int32_t group : request.groups) {
    if (std::none_of(archive.entries().begin(), archive.entries().end(), belongs_to(group))) {
      continue;
    }
    if (!reporter->SendGroup(group)) return ERROR_INSTALL_USEREXIT;
    for (const ArchiveEntry& entry : archive.entries()) {
      if (entry.group != group) continue;
      reporter->StartFile(done);
      if (const DWORD error = UnpackFile(archive, entry, request.folder, reporter)) return error;
      done += entry.bytes;
    }
  }
  return reporter->SendProgress(done) ? ERROR_SUCCESS : ERROR_INSTALL_USEREXIT;
}

}  // namespace

DWORD RunExtraction(const ExtractRequest& request, const std::wstring& own_path) {
  Reporter reporter;
  if (!reporter.Connect(request.callback_id)) return ERROR_SEM_TIMEOUT;
  if (!request.is_understood) return ERROR_BAD_ARGUMENTS;
  Archive archive;
  if (const DWORD error = archive.Open(own_path)) return error;
  if (const DWORD error = MakeTargetFolders(request.folder)) return error;
  return UnpackGroups(archive, request, &reporter);
}

}  // namespace setup
