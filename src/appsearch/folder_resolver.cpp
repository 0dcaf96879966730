#include "appsearch/folder_resolver.h"

#include <windows.h>

#include <optional>
#include <utility>

#include "appsearch/installer_folders.h"
#include "appsearch/registry_values.h"
#include "util/ansi_text.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/registry.h"
#include "util/sized_text.h"
#include "util/text.h"
#include "util/unique_handle.h"

namespace appsearch {
namespace {

std::optional<std::wstring> ReadVariable(const std::string& name) {
  if (!util::IsNtFamily()) {
    const auto value = util::ReadSizedText([&](char* buffer, DWORD size) {
      return ::GetEnvironmentVariableA(name.c_str(), buffer, size);
    });
    return value ? std::optional(util::ToWide(*value)) : std::nullopt;
  }
  return util::ReadSizedText<wchar_t>([&](wchar_t* buffer, DWORD size) {
    return ::GetEnvironmentVariableW(util::ToWide(name).c_str(), buffer, size);
  });
}

std::wstring ReadRegistry(const std::string& name) {
  const size_t first = util::FindAnyOf(name, "\\");
  const size_t last = util::FindLastOf(name, "\\");
  if (first == util::kNoPosition) return {};
  // With one backslash only, the value is the root's own.
  const std::string path = first < last ? name.substr(first + 1, last - first - 1) : std::string();
  // All that is allowed, as RegOpenKey opens it.
  const util::UniqueRegistryKey key =
      util::OpenRegistryKey(ParseRoot(name.substr(0, first)), path, MAXIMUM_ALLOWED);
  return key ? ReadComparableValue(key.Get(), name.substr(last + 1)).value_or(L"") : L"";
}

// Where the reference that begins at `open` ends.
size_t FindEnd(const std::string& text, size_t open) {
  switch (text[open]) {
    case '[':
      return util::FindAnyOf(text, "]", open);
    case '%':
      return util::FindAnyOf(text, "%", open + 1);
    default:
      // The name has at least one character, be it the mark itself.
      return util::FindAnyOf(text, "!", util::NextCharacter(text, open + 1));
  }
}

}  // namespace

FolderResolver::FolderResolver(std::wstring setup_folder)
    : setup_folder_(setup_folder.empty() ? std::wstring()
                                         : util::WithBackslash(std::move(setup_folder))) {}

std::optional<std::string> FolderResolver::Resolve(const std::string& text) const {
  std::string result;
  size_t copied = 0;
  while (const std::optional<Reference> reference = FindReference(text, copied)) {
    result.append(text, copied, reference->begin - copied);
    copied = reference->end;

    std::optional<std::wstring> value;
    if (reference->mark == '!') {
      value = ReadRegistry(reference->name);
    } else if (reference->mark == '%') {
      value = ReadVariable(reference->name);
    } else if (reference->name != "SETUPEXEDIR") {
      value = FindInstallerFolder(reference->name);
    } else if (!setup_folder_.empty()) {
      value = setup_folder_;
    }
    const auto ansi =
        value ? util::ToAnsiPath(*value) : text.substr(reference->begin, copied - reference->begin);
    if (!ansi) return std::nullopt;
    result += *ansi;
  }
  return result.append(text, copied);
}

std::optional<Reference> FindReference(const std::string& text, size_t from) {
  const size_t open = util::FindAnyOf(text, "[%!", from);
  const size_t end = open == util::kNoPosition ? util::kNoPosition : FindEnd(text, open);
  if (end == util::kNoPosition) return std::nullopt;
  return Reference{text[open], text.substr(open + 1, end - open - 1), open, end + 1};
}

}  // namespace appsearch
