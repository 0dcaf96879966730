#include "appsearch/file_search.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "util/ansi_text.h"
#include "util/file_version.h"
#include "util/os_family.h"
#include "util/scope_exit.h"
#include "util/sized_text.h"
#include "util/text.h"
#include "util/unique_handle.h"
#include "util/wow64.h"

namespace appsearch {
namespace {

struct Place {
  std::string folder;  // With a backslash at its end.
  std::string pattern;
  int32_t depth = 0;  // Levels of folders below that are searched too.
};

// Blanks, a sign, digits. A number that does not fit is the largest: all levels.
int32_t ParseDepth(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  int64_t depth = 0;
  for (const char character : text) {
    if (character < '0' || character > '9') break;
    depth = std::min<int64_t>(depth * 10 + (character - '0'), INT32_MAX);
  }
  return static_cast<int32_t>(negative ? -depth : depth);
}

std::vector<std::string> FixedDrives() {
  const auto read = [](char* buffer, DWORD size) {
    return ::GetLogicalDriveStringsA(size, buffer);
  };
  const std::string roots = util::ReadSizedText(read).value_or("");
  std::vector<std::string> drives;
  // Each root ends in a null.
  for (size_t at = 0; at < roots.size();) {
    std::string root = &roots[at];
    at += root.size() + 1;
    if (::GetDriveTypeA(root.c_str()) == DRIVE_FIXED) drives.push_back(std::move(root));
  }
  return drives;
}

std::vector<std::string> ListCandidates(const std::string& search) {
  const std::string_view path = std::string_view(search).substr(0, FindDepth(search));
  // A reference stands for a folder.
  if (util::FindAnyOf(path, "\\]%!") != util::kNoPosition) return {search};
  std::vector<std::string> candidates = FixedDrives();
  for (std::string& candidate : candidates) candidate += search;
  return candidates;
}

// Nothing when a reference stands for what the code page cannot say.
std::optional<Place> ToPlace(const std::string& candidate, const FolderResolver& folders) {
  const size_t mark = FindDepth(candidate);
  const auto path = folders.Resolve(candidate.substr(0, mark));
  if (!path) return std::nullopt;
  const size_t slash = util::FindLastOf(*path, "\\");
  const size_t name = slash == util::kNoPosition ? 0 : slash + 1;
  return Place{
      path->substr(0, name), path->substr(name),
      mark == util::kNoPosition ? 0 : ParseDepth(std::string_view(candidate).substr(mark + 1))};
}

// The entries of a folder that match a path, "*" and all.
class Listing {
 public:
  explicit Listing(const std::string& path) {
    if (util::IsNtFamily()) {
      find_.Reset(::FindFirstFileW(util::ToWide(path).c_str(), &wide_));
    } else {
      find_.Reset(::FindFirstFileA(path.c_str(), &narrow_));
    }
    has_entry_ = static_cast<bool>(find_);
  }

  [[nodiscard]] bool HasEntry() const { return has_entry_; }
  void Next() {
    has_entry_ = util::IsNtFamily() ? ::FindNextFileW(find_.Get(), &wide_)
                                    : ::FindNextFileA(find_.Get(), &narrow_);
  }

  // Of the entry, which is there.
  [[nodiscard]] bool IsFolder() const {
    const DWORD attributes = util::IsNtFamily() ? wide_.dwFileAttributes : narrow_.dwFileAttributes;
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  }
  // Its short name where the code page cannot say the long one, and empty when it has none.
  [[nodiscard]] std::string Name() const {
    if (!util::IsNtFamily()) return narrow_.cFileName;
    if (auto name = util::TryToAnsi(wide_.cFileName)) return *name;
    return util::TryToAnsi(wide_.cAlternateFileName).value_or("");
  }

 private:
  union {
    WIN32_FIND_DATAW wide_;
    WIN32_FIND_DATAA narrow_;
  };
  util::UniqueFind find_;
  bool has_entry_ = false;
};

class Walk {
 public:
  Walk(const VersionBounds& bounds, Findings* findings) : bounds_(bounds), findings_(findings) {}

  // True when a file within the bounds was found, which ends every search.
  bool Search(const std::string& folder, const std::string& pattern, int32_t depth) {
    const std::string match = FindMatch(folder + pattern);
    if (!match.empty() && Accept(folder + match)) return true;
    if (depth < 1) return false;
    Listing entries(folder + '*');
    if (!entries.HasEntry()) return false;
    // Compatibility: the first entry, the folder itself on most volumes, is never looked at.
    for (entries.Next(); entries.HasEntry(); entries.Next()) {
      const std::string name = entries.IsFolder() ? entries.Name() : "";
      if (!name.empty() && name != "." && name != ".." &&
          Search(folder + name + '\\', pattern, depth - 1)) {
        return true;
      }
    }
    return false;
  }

 private:
  // The name of the first file that can be named; folders are passed over.
  static std::string FindMatch(const std::string& path) {
    for (Listing matches(path); matches.HasEntry(); matches.Next()) {
      std::string name = matches.IsFolder() ? "" : matches.Name();
      if (!name.empty()) return name;
    }
    return {};
  }

  bool Accept(const std::string& file) {
    const util::FileVersion read = versions_.Read(file).value_or(util::FileVersion{});
    Version version;
    std::string text;
    for (const uint16_t part : read.parts) {
      if (version.count != 0) text += '.';
      text += util::ToDecimalAnsi(part);
      version.parts[version.count++] = part;
    }
    findings_->push_back(std::move(text));
    return bounds_.Contains(version);
  }

  const VersionBounds& bounds_;
  Findings* findings_;
  const util::FileVersionReader versions_;
};

}  // namespace

size_t FindDepth(std::string_view text) {
  const size_t mark = util::FindAnyOf(text, "?");
  return mark == 0 ? util::kNoPosition : mark;
}

void FindFiles(const Criterion& criterion, const VersionBounds& bounds,
               const FolderResolver& folders, Findings* findings) {
  // Resolved beforehand: it may load a library, which must not happen without the redirection.
  std::vector<Place> places;
  for (const std::string& candidate : ListCandidates(criterion.search)) {
    if (auto place = ToPlace(candidate, folders)) places.push_back(std::move(*place));
  }
  // No box asks for a disk when a drive is empty.
  const UINT old_mode = ::SetErrorMode(SEM_FAILCRITICALERRORS);
  ::SetErrorMode(old_mode | SEM_FAILCRITICALERRORS);
  const util::ScopeExit restore_mode([old_mode] { ::SetErrorMode(old_mode); });
  Walk walk(bounds, findings);  // Loads a library, too.
  std::optional<util::FileRedirectionOff> redirection_off;
  if (criterion.view64) redirection_off.emplace();
  for (const Place& place : places) {
    if (walk.Search(place.folder, place.pattern, place.depth)) return;
  }
}

}  // namespace appsearch
