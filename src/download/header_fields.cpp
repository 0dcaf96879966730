#include "download/header_fields.h"

#include <algorithm>
#include <string_view>

#include "util/text.h"

namespace download {
namespace {

std::string_view Trim(std::string_view text) {
  constexpr char kBlanks[] = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The trimmed value of `key` in a list of "key=value"; empty without one.
std::string ValueOf(std::string_view list, char separator, std::string_view key) {
  for (;;) {
    const size_t end = list.find(separator);
    const std::string_view piece = list.substr(0, end);
    const size_t equals = piece.find('=');
    if (equals != piece.npos && Trim(piece.substr(0, equals)) == key) {
      return std::string(Trim(piece.substr(equals + 1)));
    }
    if (end == list.npos) return {};
    list.remove_prefix(end + 1);
  }
}

}  // namespace

std::string RealmOf(const std::string& header) {
  const size_t blank = header.find(' ');  // After the scheme.
  const std::string_view text = header;
  return ValueOf(blank == header.npos ? text : text.substr(blank + 1), ',', "realm");
}

std::string NameFromDisposition(const std::string& header) {
  std::string name = ValueOf(header, ';', "filename");
  const size_t slash = name.rfind('/');
  if (slash != name.npos) {
    // Compatibility: counted in the header and not in the name. The folders of a name usually stay,
    // and become part of the name on disk.
    const size_t kept = std::min(header.size() - slash - 1, name.size());
    name.erase(0, name.size() - kept);
  }
  if (name.starts_with('"')) name.erase(0, 1);
  if (name.ends_with('"')) name.pop_back();
  return name;
}

std::optional<uint64_t> StartOfRange(const std::string& header) {
  const size_t first = header.find_first_of("0123456789");
  const size_t dash = header.find('-');
  if (dash == header.npos || first > dash) return std::nullopt;
  return util::ParseDecimal<uint64_t>(std::string_view(header).substr(first));
}

std::optional<uint64_t> TotalOfRange(const std::string& header) {
  const size_t slash = header.find('/');
  if (slash == header.npos || header.find_first_of("0123456789", slash) != slash + 1) {
    return std::nullopt;
  }
  return util::ParseDecimal<uint64_t>(std::string_view(header).substr(slash + 1));
}

std::string NameFromLocation(const std::string& address) {
  return address.substr(address.rfind('/') + 1);  // All of it without a slash: npos + 1 is 0.
}

}  // namespace download
