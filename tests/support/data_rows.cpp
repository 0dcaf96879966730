#include "support/data_rows.h"

#include <windows.h>

#include <doctest.h>

#include <algorithm>
#include <cwchar>
#include <string_view>

#include "support/temp_folder.h"
#include "util/text.h"

namespace test {
namespace {

std::wstring FromUtf8(const std::string& text) {
  std::wstring wide(text.size(), L'\0');
  const int length = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                           wide.data(), static_cast<int>(wide.size()));
  wide.resize(static_cast<size_t>(length));
  return wide;
}

std::wstring Unescape(const std::wstring& text) {
  std::wstring result;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != L'\\' || i + 1 == text.size()) {
      result += text[i];
      continue;
    }
    const wchar_t letter = text[++i];
    const size_t known = std::wstring_view(L"nrtsp").find(letter);
    if (known != std::wstring_view::npos) {
      result += L"\n\r\t |"[known];
    } else if (letter == L'x') {
      result += static_cast<wchar_t>(std::wcstoul(text.substr(i + 1, 4).c_str(), nullptr, 16));
      i += 4;
    } else {
      result += letter;
    }
  }
  return result;
}

std::wstring ToCell(std::wstring text) {
  const size_t first = text.find_first_not_of(L" \t\r");
  if (first == text.npos) return {};
  text = text.substr(first, text.find_last_not_of(L" \t\r") - first + 1);
  const size_t star = text.rfind(L'*');
  if (text.front() != L'*' || star == 0) return Unescape(text);
  const std::wstring piece = Unescape(text.substr(1, star - 1));
  std::wstring repeated;
  for (auto left = util::ParseDecimal<int>(text.substr(star + 1)); left > 0; --left) {
    repeated += piece;
  }
  return repeated;
}

}  // namespace

const std::wstring& DataRow::operator[](size_t cell) const {
  static const std::wstring kEmpty;
  return cell < cells.size() ? cells[cell] : kEmpty;
}

std::string DataRow::Ansi(size_t cell) const { return util::ToAnsi((*this)[cell]); }

int DataRow::Number(size_t cell) const { return util::ParseDecimal<int>((*this)[cell]); }

std::string ToUtf8(const std::wstring& text) {
  std::string bytes(text.size() * 3, '\0');
  const int length =
      ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr);
  bytes.resize(static_cast<size_t>(length));
  return bytes;
}

std::vector<DataLine> ReadDataLines(const char* file) {
  std::wstring path = std::wstring(PREREQ_TESTS_DIR) + L"\\" + util::ToWide(file);
  std::ranges::replace(path, L'/', L'\\');  // A long path takes no slashes.
  std::vector<DataLine> lines;
  int number = 0;
  for (const std::wstring& line : util::Split(FromUtf8(ReadWholeFile(path)), L'\n')) {
    ++number;
    const size_t first = line.find_first_not_of(L" \t\r");
    if (first == line.npos || line.front() == L'#') continue;
    lines.push_back({number, line.substr(first, line.find_last_not_of(L" \t\r") - first + 1)});
  }
  INFO(std::string(file));
  REQUIRE_FALSE(lines.empty());
  return lines;
}

std::vector<DataRow> ReadDataRows(const char* file) {
  std::vector<DataRow> rows;
  for (const auto& [number, line] : ReadDataLines(file)) {
    DataRow row{number, {}};
    for (const std::wstring& cell : util::Split(line, L'|')) row.cells.push_back(ToCell(cell));
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace test
