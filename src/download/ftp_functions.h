#ifndef DOWNLOAD_FTP_FUNCTIONS_H_
#define DOWNLOAD_FTP_FUNCTIONS_H_

#include <windows.h>
#include <wininet.h>

#include <cstdint>

namespace download {

// Two functions of the internet library that its versions before the fifth lack, looked up at every
// call. One that is not there counts as failed.

// Sends a command that answers no data; false, with the reason in GetLastError(), when it failed or
// is pending.
bool FtpCommand(HINTERNET connection, const char* command, DWORD_PTR context);

// The low word of the size of an open file, 0 when the server does not tell.
uint32_t FtpFileSize(HINTERNET file);

}  // namespace download

#endif  // DOWNLOAD_FTP_FUNCTIONS_H_
