// A library with the exports of the real one, none of which is ever called: what packages under
// test carry.

#include <windows.h>
#include <msi.h>

extern "C" {
UINT WINAPI CleanPrereq(MSIHANDLE) { return 0; }
UINT WINAPI DoAppSearchEx(MSIHANDLE) { return 0; }
UINT WINAPI DownloadPrereq(MSIHANDLE) { return 0; }
UINT WINAPI ExtractPrereq(MSIHANDLE) { return 0; }
UINT WINAPI InstallPostPrereq(MSIHANDLE) { return 0; }
UINT WINAPI InstallPrereq(MSIHANDLE) { return 0; }
UINT WINAPI VerifyPrereq(MSIHANDLE) { return 0; }
}
