#include "download/wininet.h"

#include <atomic>
#include <memory>
#include <type_traits>

#include "util/find_function.h"
#include "util/system_library.h"

namespace download {
namespace {

std::atomic<const WinInet*> g_functions{nullptr};

}  // namespace

const WinInet* LoadWinInet() {
  if (const WinInet* functions = g_functions) return functions;
  util::UniqueModule library = util::LoadSystemLibrary("wininet.dll");
  if (!library) return nullptr;
  auto table = std::make_unique<WinInet>();
  const auto find = [&](const char* name, auto* function) {
    using Function = std::remove_reference_t<decltype(*function)>;
    *function = util::FindFunction<Function>(library.Get(), name);
    return *function != nullptr;
  };
  const bool whole = find("InternetOpenA", &table->InternetOpenA) &&
                     // The plain name is the one that every version has.
                     find("InternetSetStatusCallback", &table->InternetSetStatusCallbackA) &&
                     find("InternetCloseHandle", &table->InternetCloseHandle) &&
                     find("InternetConnectA", &table->InternetConnectA) &&
                     find("InternetCrackUrlA", &table->InternetCrackUrlA) &&
                     find("InternetCanonicalizeUrlA", &table->InternetCanonicalizeUrlA) &&
                     find("InternetCheckConnectionA", &table->InternetCheckConnectionA) &&
                     find("InternetSetOptionA", &table->InternetSetOptionA) &&
                     find("InternetGetLastResponseInfoA", &table->InternetGetLastResponseInfoA) &&
                     find("InternetQueryDataAvailable", &table->InternetQueryDataAvailable) &&
                     find("InternetReadFile", &table->InternetReadFile) &&
                     find("InternetErrorDlg", &table->InternetErrorDlg) &&
                     find("HttpOpenRequestA", &table->HttpOpenRequestA) &&
                     find("HttpSendRequestA", &table->HttpSendRequestA) &&
                     find("HttpQueryInfoA", &table->HttpQueryInfoA) &&
                     find("FtpOpenFileA", &table->FtpOpenFileA) &&
                     find("FtpFindFirstFileA", &table->FtpFindFirstFileA);
  if (!whole) return nullptr;
  (void)find("FtpGetFileSize", &table->FtpGetFileSize);
  const WinInet* expected = nullptr;
  // Of two threads that get here together, the later one gives its copy up.
  if (g_functions.compare_exchange_strong(expected, table.get())) {
    (void)library.Release();
    (void)table.release();
  }
  return g_functions;
}

const WinInet& Internet() { return *g_functions; }

const WinInet* ReplaceInternet(const WinInet* functions) { return g_functions.exchange(functions); }

}  // namespace download
