#ifndef UTIL_SCOPE_EXIT_H_
#define UTIL_SCOPE_EXIT_H_

#include <utility>

namespace util {

// Runs `undo` when the scope ends, on every path.
template <typename Undo>
class ScopeExit {
 public:
  explicit ScopeExit(Undo undo) : undo_(std::move(undo)) {}
  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;
  ~ScopeExit() { undo_(); }

 private:
  Undo undo_;
};

}  // namespace util

#endif  // UTIL_SCOPE_EXIT_H_
