#include <algorithm>

#include "appsearch/file_search.h"
#include "appsearch/folder_resolver.h"
#include "appsearch/version.h"
#include "conditions.h"
#include "plain_text.h"
#include "search.h"
#include "util/ansi_text.h"

namespace check {
namespace {

// Stands where a reference stood.
constexpr char kReferenceMark = '\x01';

// The text with one mark for every reference, so that what is within them is no part of a path.
std::string WithoutReferences(const std::string& text) {
  std::string shape;
  size_t at = 0;
  while (const auto reference = appsearch::FindReference(text, at)) {
    shape += text.substr(at, reference->begin - at) + kReferenceMark;
    at = reference->end;
  }
  return shape + text.substr(at);
}

bool HasDrive(const std::string& path) { return path.size() > 1 && path[1] == ':'; }

bool IsBounded(const Search& search) {
  for (const wchar_t* column : {L"VerMin", L"VerMax"}) {
    appsearch::Version bound;
    if (appsearch::ParseVersion(Plain(search.row.Get(column)), &bound) && !bound.IsZero()) {
      return true;
    }
  }
  return false;
}

// What no path has; null for nothing of the sort.
const wchar_t* FindForeign(const Search& search, const std::string& path) {
  if (path.find('"') != path.npos) return L"quotes in it";
  if (path.starts_with(' ')) return L"a blank in front";
  const size_t slash = path.find('/', path.rfind('\\') + 1);
  // Without a bound the file is found, though its version cannot be read.
  const bool is_drive = HasDrive(path) && path.size() > 2 && path[2] == '/';
  return slash != path.npos && (is_drive || IsBounded(search)) ? L"slashes in it" : nullptr;
}

// True for a reference to a folder, and nothing behind it.
bool IsBareFolder(const Context& context, const Search& search, const std::string& path) {
  if (path != std::string(1, kReferenceMark)) return false;
  const std::vector<std::wstring> names = PropertiesInText(search.text);
  return names.size() == 1 &&
         (names[0].ends_with(L"Folder") ||
          context.package.Cells(L"Directory", L"Directory").contains(names[0]));
}

// True for a path that starts nowhere: neither a drive, a share, a reference nor a bare name.
bool StartsNowhere(const std::string& path) {
  if (HasDrive(path)) return path.size() < 3 || path[2] != '\\';
  return path.find('\\') != path.npos && path[0] != '\\' && path[0] != kReferenceMark;
}

void CheckDepth(const Context& context, const Search& search, const std::string& levels) {
  const size_t digits = levels.find_first_not_of(" +");
  const bool is_number =
      digits != levels.npos &&
      ((levels[digits] >= '0' && levels[digits] <= '9') || levels[digits] == kReferenceMark);
  if (!is_number) {
    const std::wstring text = levels.find(kReferenceMark) == levels.npos ? Wide(levels) : L"";
    context.report->Add(kBadDepth, search.At(L"SearchString"), {L"?" + text});
  }
}

}  // namespace

void CheckFile(const Context& context, const Search& search) {
  const std::string shape = WithoutReferences(search.plain);
  const size_t depth = appsearch::FindDepth(shape);
  const std::string path = shape.substr(0, depth);
  const Place place = search.At(L"SearchString");
  const size_t slash = path.rfind('\\');
  if (depth != util::kNoPosition) CheckDepth(context, search, shape.substr(depth + 1));
  if (const wchar_t* const foreign = FindForeign(search, path)) {
    context.report->Add(kNoPath, place, {search.text, foreign});
  } else if ((slash != path.npos && slash + 1 == path.size()) ||
             IsBareFolder(context, search, path)) {
    context.report->Add(kNoFileName, place, {search.text});
  } else if (slash != path.npos && path.substr(0, slash).find('*') != path.npos) {
    context.report->Add(kWildcardFolder, place, {search.text});
  } else if (StartsNowhere(path)) {
    context.report->Add(kNoFullFilePath, place, {search.text});
  }
}

}  // namespace check
