#ifndef MSI_STREAMS_H_
#define MSI_STREAMS_H_

#include <string>
#include <vector>

#include "msi/handles.h"
#include "util/md5.h"

namespace msi {

// Reads the stream in `field` of `record` whole. Answers 0, or ERROR_INSTALL_FAILURE (1603) for
// anything that went wrong; `bytes` is then empty.
[[nodiscard]] UINT ReadStream(MSIHANDLE record, UINT field, std::vector<unsigned char>* bytes);

// Writes the stream in `field` of `record` to a file, in place of any existing one. True when every
// byte of the stream is there; a file that was only written in part stays.
bool WriteStreamToFile(MSIHANDLE record, UINT field, const std::wstring& path);

// As above, to a file that is open for writing, which is borrowed; `digest` takes in what was
// written, and may be null.
bool WriteStream(MSIHANDLE record, UINT field, HANDLE file, util::Md5* digest);

}  // namespace msi

#endif  // MSI_STREAMS_H_
