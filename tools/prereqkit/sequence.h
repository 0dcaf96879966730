#ifndef PREREQKIT_SEQUENCE_H_
#define PREREQKIT_SEQUENCE_H_

#include <string>
#include <vector>

#include "edits.h"

namespace kit {

// One sequence table of a package, in the order of its numbers, and the places in it for more
// actions. What stands in the way is moved behind them, as little as it takes and in its order.
class Sequence {
 public:
  Sequence(const Database& database, Edits* edits, Report* report, std::wstring table);

  [[nodiscard]] bool IsEmpty() const { return rows_.empty(); }
  // The number of an action; 0 when it is not scheduled.
  [[nodiscard]] int NumberOf(const std::wstring& action) const;
  [[nodiscard]] std::wstring ConditionOf(const std::wstring& action) const;
  // True for an action that is not scheduled and that no earlier run has scheduled.
  [[nodiscard]] bool IsMissing(const std::wstring& action) const;
  // The action of a number; empty when it is free.
  [[nodiscard]] std::wstring ActionAt(int number) const;
  // The highest number in use below `limit`; 0 when there is none.
  [[nodiscard]] int LastBelow(int limit) const;
  [[nodiscard]] int Last() const { return LastBelow(kHighest + 1); }
  // The lowest free number above `number`.
  [[nodiscard]] int FreeAbove(int number) const;

  // Numbers for `count` actions right behind `number`, with some room between them where there is.
  // Nothing when the table has no room up to its highest number; that refuses the whole run.
  [[nodiscard]] std::vector<int> MakeRoom(int number, size_t count);
  // Puts an action in; where an earlier run did, only the condition is brought up to date.
  void Schedule(const std::wstring& action, const std::wstring& condition, int number);

  static constexpr int kHighest = 32767;

 private:
  struct Row {
    std::wstring action;
    std::wstring condition;
    int number;
  };

  Edits& edits_;
  Report& report_;
  std::wstring table_;
  std::vector<Row> rows_;  // By number; those without one and the flags below 0 are at the front.
};

}  // namespace kit

#endif  // PREREQKIT_SEQUENCE_H_
