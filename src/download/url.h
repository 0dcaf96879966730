#ifndef DOWNLOAD_URL_H_
#define DOWNLOAD_URL_H_

#include <windows.h>
#include <wininet.h>

#include <cstdint>
#include <string>

// What a URL says. Texts are in the ANSI code page. Needs WinINet to be loaded.
namespace download {

struct UrlParts {
  INTERNET_SCHEME scheme = INTERNET_SCHEME_UNKNOWN;
  INTERNET_PORT port = 0;
  std::string host;
  std::string path;
  std::string user;  // Empty when absent, as the next two.
  std::string password;
  std::string extra;  // The query with its "?".
};

[[nodiscard]] inline bool IsHttp(INTERNET_SCHEME scheme) {
  return scheme == INTERNET_SCHEME_HTTP || scheme == INTERNET_SCHEME_HTTPS;
}

// 0 for a URL whose scheme is one of http, https, ftp and gopher, 2 for another scheme, else the
// error of the library, with `scheme` as it was.
[[nodiscard]] uint32_t CheckScheme(const std::string& url, INTERNET_SCHEME* scheme);

// 0, or the error of the library with `parts` as they were.
[[nodiscard]] uint32_t SplitUrl(const std::string& url, UrlParts* parts);

// Where the file goes. `requested` is a bare name, or a full path, which then stays as it is; an
// empty one means a name made from the URL, which always ends in ".qxu" if it has a full stop.
// Empty when such a URL cannot be read.
std::string LocalPath(const std::string& url, const std::string& folder,
                      const std::string& requested);

// `name` with every character that no file name may hold turned into "_".
std::string WithoutForbidden(std::string name);

}  // namespace download

#endif  // DOWNLOAD_URL_H_
