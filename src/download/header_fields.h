#ifndef DOWNLOAD_HEADER_FIELDS_H_
#define DOWNLOAD_HEADER_FIELDS_H_

#include <cstdint>
#include <optional>
#include <string>

// Reading the texts of HTTP response headers.
namespace download {

// The realm of an authentication header, as it stands there with its quotes; empty without one.
std::string RealmOf(const std::string& header);

// The file name of a Content-Disposition header, its quotes removed; empty without one. Characters
// that no file name may hold are still in it.
std::string NameFromDisposition(const std::string& header);

// The position that a Content-Range header says the body starts at; nothing when it says none.
std::optional<uint64_t> StartOfRange(const std::string& header);

// The size of the whole file that it names; nothing when it names none.
std::optional<uint64_t> TotalOfRange(const std::string& header);

// The last part of a decoded address.
std::string NameFromLocation(const std::string& address);

}  // namespace download

#endif  // DOWNLOAD_HEADER_FIELDS_H_
