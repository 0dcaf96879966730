#ifndef TESTS_SUPPORT_MAKE_ROW_H_
#define TESTS_SUPPORT_MAKE_ROW_H_

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "msi/table_snapshot.h"

namespace test {

// A row as a snapshot would hold it.
inline msi::TableRow MakeRow(std::initializer_list<std::pair<const wchar_t*, std::wstring>> cells) {
  auto columns = std::make_shared<msi::TableRow::Columns>();
  std::wstring texts;
  for (const auto& [column, text] : cells) {
    columns->emplace_back(column);
    texts += text + L'\0';
  }
  return {std::move(columns), texts};
}

// A row of which one cell could not be read.
inline msi::TableRow MakeUnreadRow(const wchar_t* column) {
  auto columns = std::make_shared<msi::TableRow::Columns>();
  columns->insert(columns->end(), {L"Prereq", column});
  return {std::move(columns), std::wstring_view(L"key\0\0", 5), 2};
}

}  // namespace test

#endif  // TESTS_SUPPORT_MAKE_ROW_H_
