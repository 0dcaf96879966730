#ifndef DOWNLOAD_WININET_H_
#define DOWNLOAD_WININET_H_

#include <windows.h>
#include <wininet.h>

#include "util/unique_handle.h"

namespace download {

// The functions of WinINet, of which every version has all but the last. A package
// that downloads nothing never loads the library.
struct WinInet {
  decltype(&::InternetOpenA) InternetOpenA;
  decltype(&::InternetSetStatusCallbackA) InternetSetStatusCallbackA;
  decltype(&::InternetCloseHandle) InternetCloseHandle;
  decltype(&::InternetConnectA) InternetConnectA;
  decltype(&::InternetCrackUrlA) InternetCrackUrlA;
  decltype(&::InternetCanonicalizeUrlA) InternetCanonicalizeUrlA;
  decltype(&::InternetCheckConnectionA) InternetCheckConnectionA;
  decltype(&::InternetSetOptionA) InternetSetOptionA;
  decltype(&::InternetGetLastResponseInfoA) InternetGetLastResponseInfoA;
  decltype(&::InternetQueryDataAvailable) InternetQueryDataAvailable;
  decltype(&::InternetReadFile) InternetReadFile;
  decltype(&::InternetErrorDlg) InternetErrorDlg;
  decltype(&::HttpOpenRequestA) HttpOpenRequestA;
  decltype(&::HttpSendRequestA) HttpSendRequestA;
  decltype(&::HttpQueryInfoA) HttpQueryInfoA;
  decltype(&::FtpOpenFileA) FtpOpenFileA;
  decltype(&::FtpFindFirstFileA) FtpFindFirstFileA;
  decltype(&::FtpGetFileSize) FtpGetFileSize;  // Null before the fifth version.
};

// Loads the library at the first call; it then stays, because its threads do. Null, with the reason
// in GetLastError(), when this system lacks it or a part of it. Any thread.
const WinInet* LoadWinInet();

// The functions after a LoadWinInet() that found them.
const WinInet& Internet();

// Puts another table in its place and answers the one before: what the library answers on systems
// that are not at hand can so be tried. No transfer may be running.
const WinInet* ReplaceInternet(const WinInet* functions);

// Connections. A request's closing is awaited, so it has another owner: the session.
struct InternetHandleTraits {
  using Handle = HINTERNET;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle handle) { return handle != nullptr; }
  static void Close(Handle handle) { Internet().InternetCloseHandle(handle); }
};
using UniqueInternet = util::UniqueHandle<InternetHandleTraits>;

// A session stops calling back before it is closed.
struct InternetRootTraits : InternetHandleTraits {
  static void Close(Handle handle) {
    Internet().InternetSetStatusCallbackA(handle, nullptr);
    Internet().InternetCloseHandle(handle);
  }
};
using UniqueInternetRoot = util::UniqueHandle<InternetRootTraits>;

}  // namespace download

#endif  // DOWNLOAD_WININET_H_
