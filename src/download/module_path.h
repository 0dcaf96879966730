#ifndef DOWNLOAD_MODULE_PATH_H_
#define DOWNLOAD_MODULE_PATH_H_

#include <string>

namespace download {

// Full path of the module that this code is in, in the ANSI code page, at most 260 characters.
std::string OwnModulePath();

// Keeps the module loaded for good: something of it may still be called.
void PinOwnModule();

}  // namespace download

#endif  // DOWNLOAD_MODULE_PATH_H_
