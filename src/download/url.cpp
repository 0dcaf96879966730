#include "download/url.h"

#include "download/wininet.h"
#include "util/ansi_text.h"

namespace download {
namespace {

constexpr char kForbidden[] = "<>:\"/\\|?*";
constexpr char kLocalExtension[] = ".qxu";
constexpr uint32_t kUnknownScheme = 2;
// Asks for a part; the library then answers with a pointer into the URL, of any length.
constexpr DWORD kWanted = 100;

URL_COMPONENTSA NoParts() {
  URL_COMPONENTSA parts = {};
  parts.dwStructSize = sizeof(parts);
  return parts;
}

uint32_t Crack(const std::string& url, URL_COMPONENTSA* parts) {
  return Internet().InternetCrackUrlA(url.c_str(), 0, 0, parts) ? NO_ERROR : ::GetLastError();
}

std::string Text(const char* begin, DWORD length) {
  return begin != nullptr ? std::string(begin, length) : std::string();
}

// The name of the file that the path ends in.
std::string NameFromPath(INTERNET_SCHEME scheme, const std::string& path) {
  const size_t separator = path.rfind(scheme == INTERNET_SCHEME_FILE ? '\\' : '/');
  std::string name = separator == std::string::npos ? path : path.substr(separator + 1);
  switch (scheme) {
    case INTERNET_SCHEME_HTTP:
      return name.substr(0, name.find('?'));
    case INTERNET_SCHEME_FTP:
      return name.substr(0, name.find(';'));  // A type suffix.
    default:
      // Compatibility: a position in the path, applied to the name.
      return name.substr(0, separator);
  }
}

// For downloads without a name. The names of prerequisites follow another rule, FileNameFromUrl()
// in prereq/rows.h.
std::string NameFromUrl(INTERNET_SCHEME scheme, const std::string& path) {
  std::string name = WithoutForbidden(NameFromPath(scheme, path));
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos) name.replace(dot, std::string::npos, kLocalExtension);
  return name;
}

}  // namespace

uint32_t CheckScheme(const std::string& url, INTERNET_SCHEME* scheme) {
  URL_COMPONENTSA parts = NoParts();
  if (const uint32_t error = Crack(url, &parts)) return error;
  *scheme = parts.nScheme;
  switch (parts.nScheme) {
    case INTERNET_SCHEME_HTTP:
    case INTERNET_SCHEME_HTTPS:
    case INTERNET_SCHEME_FTP:
    case INTERNET_SCHEME_GOPHER:
      return NO_ERROR;
    default:
      return kUnknownScheme;
  }
}

uint32_t SplitUrl(const std::string& url, UrlParts* parts) {
  URL_COMPONENTSA cracked = NoParts();
  cracked.dwHostNameLength = kWanted;
  cracked.dwUserNameLength = kWanted;
  cracked.dwPasswordLength = kWanted;
  cracked.dwUrlPathLength = kWanted;
  cracked.dwExtraInfoLength = kWanted;
  if (const uint32_t error = Crack(url, &cracked)) return error;
  parts->scheme = cracked.nScheme;
  parts->port = cracked.nPort;
  parts->host = Text(cracked.lpszHostName, cracked.dwHostNameLength);
  parts->path = Text(cracked.lpszUrlPath, cracked.dwUrlPathLength);
  parts->user = Text(cracked.lpszUserName, cracked.dwUserNameLength);
  parts->password = Text(cracked.lpszPassword, cracked.dwPasswordLength);
  parts->extra = Text(cracked.lpszExtraInfo, cracked.dwExtraInfoLength);
  return NO_ERROR;
}

std::string LocalPath(const std::string& url, const std::string& folder,
                      const std::string& requested) {
  std::string name = requested;
  if (name.empty()) {
    URL_COMPONENTSA parts = NoParts();
    parts.dwUrlPathLength = kWanted;  // Alone: the query then stays with the path.
    if (Crack(url, &parts) != NO_ERROR) return {};
    name = NameFromUrl(parts.nScheme, Text(parts.lpszUrlPath, parts.dwUrlPathLength));
  }
  const bool is_full_path = name.find(':', 1) != std::string::npos;
  if (is_full_path || folder.empty()) return name;
  return util::WithBackslash(folder) + name;
}

std::string WithoutForbidden(std::string name) {
  for (size_t at = util::FindAnyOf(name, kForbidden); at != util::kNoPosition;
       at = util::FindAnyOf(name, kForbidden, at + 1)) {
    name[at] = '_';
  }
  return name;
}

}  // namespace download
