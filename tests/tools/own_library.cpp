// An author's own library, which has a function of the same name as one of the exports.

#include <windows.h>
#include <msi.h>

extern "C" __declspec(dllexport) UINT WINAPI VerifyPrereq(MSIHANDLE) { return 0; }
