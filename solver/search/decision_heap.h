// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_DECISION_HEAP_H
#define VORN_SOLVER_SEARCH_DECISION_HEAP_H

#include <cstddef>
#include <vector>

namespace vorn::solver {

/// Activities of variables, and a heap of some of the variables with the most
/// active one on top. Of equally active variables the lower comes first.
///
/// A bump adds to a variable's activity an amount that grows exponentially
/// with the decays, so that bumps count the less the older they are.
///
/// Cost: insert, pop and bump O(log n); contains, decay and activity O(1),
/// but a bump that overflows the activities rescales all, O(n).
class DecisionHeap {
 public:
  /// Requires: 0 < decay < 1, the share of an activity that survives decay().
  explicit DecisionHeap(double decay) : growth_(1.0 / decay) {}

  /// Makes the next variable, with activity `activity` in units of a bump, not
  /// in the heap.
  void new_variable(double activity);
  /// Forgets the variables from `count` on. Requires: count <= variables. Cost:
  /// O(log n) for each of them.
  void shrink(int count);
  /// How many variables there are, in the heap or not.
  int num_variables() const { return static_cast<int>(activities_.size()); }

  /// Whether no variable is in the heap.
  bool is_empty() const { return heap_.empty(); }
  /// How many variables are in the heap.
  int size() const { return static_cast<int>(heap_.size()); }
  /// Whether the variable is in the heap.
  bool contains(int variable) const {
    return positions_[to_index(variable)] != kAbsent;
  }
  /// Does nothing if the variable is in the heap.
  void insert(int variable);
  /// Requires: not empty.
  int top() const { return heap_.front(); }
  /// Removes and returns the top. Requires: not empty.
  int pop();
  /// Some variable in the heap. Requires: 0 <= position < size().
  int at(int position) const { return heap_[to_index(position)]; }

  /// The more, the sooner the variable is decided.
  double activity(int variable) const {
    return activities_[to_index(variable)];
  }
  /// Whether `a` is to be decided before `b`.
  bool is_before(int a, int b) const {
    const double activity_a = activity(a);
    const double activity_b = activity(b);
    return activity_a > activity_b || (activity_a == activity_b && a < b);
  }
  /// Raises the activity of a variable, in the heap or not.
  void bump(int variable);
  /// Makes all bumps so far count less.
  void decay() { increment_ *= growth_; }

  /// Asserts that positions and heap agree and that no child is before its
  /// parent.
  void check_invariants() const;

 private:
  static constexpr int kAbsent = -1;
  static constexpr double kMaxActivity = 1e100;

  static std::size_t to_index(int i) { return static_cast<std::size_t>(i); }
  void place(int position, int variable) {
    heap_[to_index(position)] = variable;
    positions_[to_index(variable)] = position;
  }
  void remove(int variable);
  void move_up(int position);
  void move_down(int position);
  void rescale();

  double growth_;
  double increment_ = 1.0;
  std::vector<double> activities_;
  std::vector<int> heap_;       // variables; children of i at 2i + 1, 2i + 2
  std::vector<int> positions_;  // of variables in heap_, or kAbsent
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_DECISION_HEAP_H
