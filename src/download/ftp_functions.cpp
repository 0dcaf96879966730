#include "download/ftp_functions.h"

#include "util/unique_handle.h"

namespace download {
namespace {

template <typename Function, typename... Arguments>
auto CallIfThere(const char* name, Arguments... arguments) {
  using Result = decltype(Function{}(arguments...));
  const util::UniqueModule library(::LoadLibraryA("wininet.dll"));
  if (!library) return Result{0};
  const auto function =
      reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library.Get(), name)));
  return function != nullptr ? function(arguments...) : Result{0};
}

}  // namespace

bool FtpCommand(HINTERNET connection, const char* command, DWORD_PTR context) {
  return CallIfThere<decltype(&::FtpCommandA)>("FtpCommandA", connection, FALSE,
                                               DWORD{FTP_TRANSFER_TYPE_ASCII}, command, context,
                                               static_cast<HINTERNET*>(nullptr)) != FALSE;
}

uint32_t FtpFileSize(HINTERNET file) {
  return CallIfThere<decltype(&::FtpGetFileSize)>("FtpGetFileSize", file,
                                                  static_cast<DWORD*>(nullptr));
}

}  // namespace download
