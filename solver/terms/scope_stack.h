// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_SCOPE_STACK_H
#define VORN_SOLVER_TERMS_SCOPE_STACK_H

#include <array>
#include <cassert>
#include <cstddef>
#include <tuple>
#include <vector>

namespace vorn::solver {

// What a scope knows of a part: a mark that says how far the part has grown,
// and how to go back to it. Overloads next to a class, found by its namespace,
// make it a part under other names.

template <class Part>
std::size_t mark_of(const Part& part) {
  return part.mark();
}
template <class T>
std::size_t mark_of(const std::vector<T>& list) {
  return list.size();
}
inline std::size_t mark_of(const std::size_t& counter) {
  return counter;
}

template <class Part>
void roll_back(Part& part, std::size_t mark) {
  part.rollback(mark);
}
template <class T>
void roll_back(std::vector<T>& list, std::size_t mark) {
  list.erase(list.begin() + static_cast<std::ptrdiff_t>(mark), list.end());
}
inline void roll_back(std::size_t& counter, std::size_t mark) {
  counter = mark;
}

/// The open scopes of parts that grow together: push notes how far each part
/// has grown, pop takes back what came since. In between, parts only grow.
///
/// Cost: a word for each part and scope.
/// Ownership: borrows the parts.
template <class... Parts>
class ScopeStack {
 public:
  /// No scope is open.
  explicit ScopeStack(Parts&... parts) : parts_(parts...) {}
  ScopeStack(const ScopeStack&) = delete;
  ScopeStack& operator=(const ScopeStack&) = delete;

  /// How many scopes are open.
  std::size_t size() const { return marks_.size(); }

  /// The first part's mark when a scope was opened, by number from 0.
  std::size_t start(std::size_t scope) const { return marks_[scope].front(); }

  /// Opens a scope.
  void push() {
    std::apply(
        [this](const auto&... part) { marks_.push_back({mark_of(part)...}); },
        parts_);
  }

  /// Closes the latest scope: the parts go back in the order they stand in.
  /// Requires: size() > 0.
  void pop() {
    assert(!marks_.empty());
    const std::array<std::size_t, sizeof...(Parts)> marks = marks_.back();
    marks_.pop_back();
    const std::size_t* mark = marks.data();
    std::apply([&mark](auto&... part) { (roll_back(part, *mark++), ...); },
               parts_);
  }

 private:
  std::tuple<Parts&...> parts_;
  std::vector<std::array<std::size_t, sizeof...(Parts)>> marks_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_TERMS_SCOPE_STACK_H
