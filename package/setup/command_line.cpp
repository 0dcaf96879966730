#include "command_line.h"

#include <algorithm>

#include "contract/extraction.h"
#include "contract/properties.h"
#include "util/text.h"

namespace setup {
namespace {

constexpr std::wstring_view kBlanks = L" \t";
constexpr std::wstring_view kGroups = contract::kGroupsArgument;
constexpr std::wstring_view kOut = contract::kFolderArgument;
constexpr std::wstring_view kCallback = contract::kCallbackArgument;
constexpr size_t kLongestNumber = 20;

bool StartsWith(std::wstring_view text, std::wstring_view start) {
  return text.size() >= start.size() &&
         std::equal(start.begin(), start.end(), text.begin(),
                    [](wchar_t a, wchar_t b) { return util::FoldAscii(a) == util::FoldAscii(b); });
}

// Takes the first word, quotes included. Empty at the end of the line.
std::wstring_view TakeWord(std::wstring_view* line) {
  line->remove_prefix(std::min(line->find_first_not_of(kBlanks), line->size()));
  bool is_quoted = false;
  size_t end = 0;
  for (; end < line->size(); ++end) {
    const wchar_t letter = (*line)[end];
    if (letter == L'"') is_quoted = !is_quoted;
    if (!is_quoted && kBlanks.find(letter) != kBlanks.npos) break;
  }
  const std::wstring_view word = line->substr(0, end);
  line->remove_prefix(end);
  return word;
}

std::wstring Unquoted(std::wstring_view word) {
  std::wstring text(word);
  std::erase(text, L'"');
  return text;
}

bool IsNumber(std::wstring_view text) {
  return !text.empty() && text.size() <= kLongestNumber &&
         text.find_first_not_of(L"0123456789") == text.npos;
}

// "101;104;", also without the last separator.
bool ReadGroups(std::wstring_view text, std::vector<int32_t>* groups) {
  for (const std::wstring& piece : util::Split(text, contract::kGroupDelimiter)) {
    if (piece.empty()) continue;
    if (!IsNumber(std::wstring_view(piece).substr(piece.front() == L'-' ? 1 : 0))) return false;
    groups->push_back(util::ParseDecimal<int32_t>(piece));
  }
  return !groups->empty();
}

std::wstring Quoted(const std::wstring& text) { return L"\"" + text + L"\""; }

std::wstring Assignment(const wchar_t* property, const std::wstring& value) {
  return std::wstring(L" ") + property + L"=" + Quoted(value);
}

}  // namespace

std::wstring_view SkipProgramName(std::wstring_view command_line) {
  (void)TakeWord(&command_line);
  command_line.remove_prefix(
      std::min(command_line.find_first_not_of(kBlanks), command_line.size()));
  return command_line;
}

std::optional<ExtractRequest> ReadExtractRequest(std::wstring_view arguments) {
  std::wstring word = Unquoted(TakeWord(&arguments));
  if (!StartsWith(word, kGroups)) return std::nullopt;
  ExtractRequest request;
  request.is_understood = ReadGroups(word.substr(kGroups.size()), &request.groups);
  while (!(word = Unquoted(TakeWord(&arguments))).empty()) {
    if (StartsWith(word, kOut)) {
      request.folder = word.substr(kOut.size());
    } else if (StartsWith(word, kCallback) && IsNumber(word.substr(kCallback.size()))) {
      request.callback_id = util::ToAnsi(word.substr(kCallback.size()));
    } else {
      request.is_understood = false;
    }
  }
  if (request.folder.empty()) request.is_understood = false;
  return request;
}

bool IsSilent(std::wstring_view arguments) {
  for (std::wstring_view word; !(word = TakeWord(&arguments)).empty();) {
    if (word.front() != L'/' && word.front() != L'-') continue;
    word.remove_prefix(1);
    // "qr" and "qf" show dialogs.
    if (StartsWith(word, L"passive") ||
        (StartsWith(word, L"q") && !StartsWith(word, L"qr") && !StartsWith(word, L"qf"))) {
      return true;
    }
  }
  return false;
}

std::wstring InstallArguments(const std::wstring& package, const std::wstring& own_path,
                              const std::wstring& extract_folder, std::wstring_view users) {
  std::wstring line = L"/i " + Quoted(package) +
                      Assignment(contract::kSetupPathProperty, own_path) +
                      Assignment(contract::kExtractFolderProperty, extract_folder);
  if (!users.empty()) (line += L' ') += users;
  return line;
}

}  // namespace setup
