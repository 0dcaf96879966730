#include "sequence.h"

#include <algorithm>

#include "util/text.h"

namespace kit {
namespace {

constexpr int kStep = 10;

}  // namespace

Sequence::Sequence(const Database& database, Edits* edits, Report* report, std::wstring table)
    : edits_(*edits), report_(*report), table_(std::move(table)) {
  const Table rows = database.Read(table_);
  for (size_t i = 0; i < rows.rows.size(); ++i) {
    rows_.push_back({rows.Get(i, L"Action"), rows.Get(i, L"Condition"),
                     util::ParseDecimal<int>(rows.Get(i, L"Sequence"))});
  }
  std::stable_sort(rows_.begin(), rows_.end(),
                   [](const Row& one, const Row& other) { return one.number < other.number; });
}

int Sequence::NumberOf(const std::wstring& action) const {
  const auto row = std::find_if(rows_.begin(), rows_.end(),
                                [&](const Row& one) { return one.action == action; });
  return row == rows_.end() ? 0 : row->number;
}

std::wstring Sequence::ConditionOf(const std::wstring& action) const {
  const auto row = std::find_if(rows_.begin(), rows_.end(),
                                [&](const Row& one) { return one.action == action; });
  return row == rows_.end() ? std::wstring() : row->condition;
}

bool Sequence::IsMissing(const std::wstring& action) const {
  return NumberOf(action) == 0 && !edits_.WasPut(table_, {{L"Action", action}});
}

std::wstring Sequence::ActionAt(int number) const {
  const auto row = std::find_if(rows_.begin(), rows_.end(),
                                [&](const Row& one) { return one.number == number; });
  return row == rows_.end() ? std::wstring() : row->action;
}

int Sequence::LastBelow(int limit) const {
  int last = 0;
  for (const Row& row : rows_) {
    if (row.number < limit) last = std::max(last, row.number);
  }
  return last;
}

int Sequence::FreeAbove(int number) const {
  do {
    ++number;
  } while (!ActionAt(number).empty());
  return number;
}

std::vector<int> Sequence::MakeRoom(int number, size_t count) {
  const int wanted = static_cast<int>(count);
  int next = kHighest + 1;
  for (const Row& row : rows_) {
    if (row.number > number) next = std::min(next, row.number);
  }
  const int step = std::clamp((next - number) / (wanted + 1), 1, kStep);
  std::vector<int> numbers;
  for (int i = 1; i <= wanted; ++i) numbers.push_back(number + i * step);
  int taken = numbers.back();
  for (Row& row : rows_) {
    if (row.number <= number || row.number > taken) continue;
    row.number = ++taken;
    if (taken > kHighest) break;
    edits_.ChangeCell(table_, {{L"Action", row.action}}, L"Sequence",
                      util::ToSignedDecimal(row.number));
  }
  if (taken <= kHighest) return numbers;
  report_.Refuse(table_ + L" has no room behind number " + util::ToSignedDecimal(number) +
                 L": the highest number is " + util::ToSignedDecimal(kHighest));
  return {};
}

void Sequence::Schedule(const std::wstring& action, const std::wstring& condition, int number) {
  const int there = NumberOf(action);
  if (there != 0) number = there;
  const std::wstring text = util::ToSignedDecimal(number);
  edits_.PutRow(table_, {{L"Action", action}}, {{L"Condition", condition}, {L"Sequence", text}},
                table_ + L" " + action + L" " + text);
  if (there == 0) rows_.push_back({action, condition, number});
  std::stable_sort(rows_.begin(), rows_.end(),
                   [](const Row& one, const Row& other) { return one.number < other.number; });
}

}  // namespace kit
