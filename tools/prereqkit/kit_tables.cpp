#include "kit_tables.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "util/files.h"
#include "util/text.h"

namespace kit {
namespace {

constexpr int kEnglish = 9;

std::string_view Carried(const wchar_t* name) {
  const HRSRC found = ::FindResourceW(nullptr, name, RT_RCDATA);
  if (found == nullptr) return {};
  const void* const bytes = ::LockResource(::LoadResource(nullptr, found));
  return {static_cast<const char*>(bytes), ::SizeofResource(nullptr, found)};
}

std::vector<std::wstring> Lines(const wchar_t* name) {
  const std::string_view bytes = Carried(name);
  const int length = static_cast<int>(bytes.size());
  std::wstring text(bytes.size(), L'\0');
  text.resize(static_cast<size_t>(
      ::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), length, text.data(), length)));
  std::vector<std::wstring> lines;
  for (std::wstring& line : util::Split(text, L'\n')) {
    if (!line.empty() && line.back() == L'\r') line.pop_back();
    if (!line.empty()) lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace

KitTable LoadKitTable(const wchar_t* table) {
  KitTable result;
  const std::vector<std::wstring> lines = Lines(table);
  if (lines.size() < 3) return result;
  const std::vector<std::wstring> names = util::Split(lines[0], L'\t');
  const std::vector<std::wstring> types = util::Split(lines[1], L'\t');
  const std::vector<std::wstring> keys = util::Split(lines[2], L'\t');
  for (size_t i = 0; i < names.size(); ++i) {
    result.columns.push_back(
        {names[i], types[i], std::find(keys.begin() + 1, keys.end(), names[i]) != keys.end()});
  }
  for (size_t line = 3; line < lines.size(); ++line) {
    const std::vector<std::wstring> cells = util::Split(lines[line], L'\t');
    Cells row;
    for (size_t i = 0; i < names.size(); ++i) {
      row.emplace_back(names[i], i < cells.size() ? cells[i] : std::wstring());
    }
    result.rows.push_back(std::move(row));
  }
  return result;
}

std::vector<std::wstring> Texts::All() const {
  std::vector<std::wstring> all;
  for (const auto& rows : {errors, actions}) {
    for (const Cells& row : rows) {
      for (const auto& cell : row) all.push_back(cell.second);
    }
  }
  return all;
}

std::vector<Texts> LoadTexts() {
  std::vector<Texts> all = {
      {L"en", kEnglish, LoadKitTable(L"Error").rows, LoadKitTable(L"ActionText").rows}};
  for (const std::wstring& line : Lines(L"Texts")) {
    if (line.front() == L'#') continue;
    const std::vector<std::wstring> cells = util::Split(line, L'|');
    if (cells.front() == L"language") {
      all.push_back({cells[1], util::ParseDecimal<int>(cells[2]), {}, {}});
    } else if (cells.size() == 2) {
      all.back().errors.push_back({{L"Error", cells[0]}, {L"Message", cells[1]}});
    } else {
      all.back().actions.push_back(
          {{L"Action", cells[0]}, {L"Description", cells[1]}, {L"Template", cells[2]}});
    }
  }
  return all;
}

CarriedFile::CarriedFile(const wchar_t* name) {
  const std::string_view bytes = Carried(name);
  wchar_t folder[MAX_PATH + 1] = L"";
  wchar_t file[MAX_PATH + 1] = L"";
  if (bytes.empty() || ::GetTempPathW(MAX_PATH, folder) == 0 ||
      ::GetTempFileNameW(folder, L"kit", 0, file) == 0) {
    return;
  }
  const util::UniqueFile out = util::CreateForWriting(file);
  DWORD written = 0;
  if (out &&
      ::WriteFile(out.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
      written == bytes.size()) {
    path_ = file;
  } else {
    ::DeleteFileW(file);
  }
}

CarriedFile::~CarriedFile() {
  if (!path_.empty()) util::RemoveFile(path_);
}

}  // namespace kit
