#include "appsearch/file_search.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "util/ansi_text.h"
#include "util/file_version.h"
#include "util/scope_exit.h"
#include "util/sized_text.h"
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
  for (const char letter : text) {
    if (letter < '0' || letter > '9') break;
    depth = std::min<int64_t>(depth * 10 + (letter - '0'), INT32_MAX);
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
  if (util::FindMark(path, "\\]%!") != util::kNoMark) return {search};
  std::vector<std::string> candidates = FixedDrives();
  for (std::string& candidate : candidates) candidate += search;
  return candidates;
}

Place ToPlace(const std::string& candidate, const FolderResolver& folders) {
  const size_t mark = FindDepth(candidate);
  const std::string path = folders.Resolve(candidate.substr(0, mark));
  const size_t slash = util::FindLastMark(path, "\\");
  const size_t name = slash == util::kNoMark ? 0 : slash + 1;
  return {path.substr(0, name), path.substr(name),
          mark == util::kNoMark ? 0 : ParseDepth(std::string_view(candidate).substr(mark + 1))};
}

class Walk {
 public:
  Walk(const VersionBounds& bounds, Findings* findings) : bounds_(bounds), findings_(findings) {}

  // True when a file within the bounds was found, which ends every search.
  bool Search(const std::string& folder, const std::string& pattern, int32_t depth) {
    WIN32_FIND_DATAA found;
    if (FindMatch(folder + pattern, &found) && Accept(folder + found.cFileName)) return true;
    if (depth < 1) return false;
    const util::UniqueFind entries(::FindFirstFileA((folder + '*').c_str(), &found));
    if (!entries) return false;
    // Compatibility: the first entry, the folder itself on most volumes, is never looked at.
    while (::FindNextFileA(entries.Get(), &found)) {
      if (IsFolder(found) && !IsDots(found.cFileName) &&
          Search(folder + found.cFileName + '\\', pattern, depth - 1)) {
        return true;
      }
    }
    return false;
  }

 private:
  static bool IsFolder(const WIN32_FIND_DATAA& found) {
    return (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  }
  static bool IsDots(std::string_view name) { return name == "." || name == ".."; }

  // Folders of that name are passed over.
  static bool FindMatch(const std::string& path, WIN32_FIND_DATAA* found) {
    const util::UniqueFind matches(::FindFirstFileA(path.c_str(), found));
    bool any = static_cast<bool>(matches);
    while (any && IsFolder(*found)) any = ::FindNextFileA(matches.Get(), found) != FALSE;
    return any;
  }

  bool Accept(const std::string& file) {
    const util::FileVersion read = util::ReadFileVersion(file).value_or(util::FileVersion{});
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
};

}  // namespace

size_t FindDepth(std::string_view text) {
  const size_t mark = util::FindMark(text, "?");
  return mark == 0 ? util::kNoMark : mark;
}

void FindFiles(const Criterion& criterion, const VersionBounds& bounds,
               const FolderResolver& folders, Findings* findings) {
  // Resolved beforehand: it may load a library, which must not happen without the redirection.
  std::vector<Place> places;
  for (const std::string& candidate : ListCandidates(criterion.search)) {
    places.push_back(ToPlace(candidate, folders));
  }
  // No box asks for a disk when a drive is empty.
  const UINT old_mode = ::SetErrorMode(SEM_FAILCRITICALERRORS);
  ::SetErrorMode(old_mode | SEM_FAILCRITICALERRORS);
  const util::ScopeExit restore_mode([old_mode] { ::SetErrorMode(old_mode); });
  std::optional<util::FileRedirectionOff> redirection_off;
  if (criterion.view64) redirection_off.emplace();
  Walk walk(bounds, findings);
  for (const Place& place : places) {
    if (walk.Search(place.folder, place.pattern, place.depth)) return;
  }
}

}  // namespace appsearch
