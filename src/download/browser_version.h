#ifndef DOWNLOAD_BROWSER_VERSION_H_
#define DOWNLOAD_BROWSER_VERSION_H_

#include <cstdint>

namespace download {

// The version of the system's browser, which is that of its WinINet. False, with the out
// values as they were, when it is not known. Any thread.
bool GetBrowserVersion(uint32_t* major, uint32_t* minor);

}  // namespace download

#endif  // DOWNLOAD_BROWSER_VERSION_H_
