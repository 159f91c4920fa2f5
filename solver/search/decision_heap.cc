// SPDX-License-Identifier: MIT
#include "solver/search/decision_heap.h"

#include <cassert>
#include <utility>

namespace vorn::solver {

void DecisionHeap::new_variable(double activity) {
  activities_.push_back(activity * increment_);
  positions_.push_back(kAbsent);
  heap_.reserve(activities_.capacity());
}

void DecisionHeap::shrink(int count) {
  assert(count <= num_variables());
  for (int variable = num_variables(); variable-- > count;) remove(variable);
  activities_.resize(to_index(count));
  positions_.resize(to_index(count));
}

// Where others then are in the heap does not matter: no two of them are equal
// in their order.
void DecisionHeap::remove(int variable) {
  if (!contains(variable)) return;
  const int position = std::exchange(positions_[to_index(variable)], kAbsent);
  const int last = heap_.back();
  heap_.pop_back();
  if (last == variable) return;
  place(position, last);
  move_up(position);
  move_down(positions_[to_index(last)]);
}

void DecisionHeap::insert(int variable) {
  if (contains(variable)) return;
  heap_.push_back(variable);
  positions_[to_index(variable)] = size() - 1;
  move_up(size() - 1);
}

int DecisionHeap::pop() {
  assert(!is_empty());
  const int result = heap_.front();
  positions_[to_index(result)] = kAbsent;
  const int last = heap_.back();
  heap_.pop_back();
  if (!heap_.empty()) {
    place(0, last);
    move_down(0);
  }
  return result;
}

void DecisionHeap::bump(int variable) {
  double& activity = activities_[to_index(variable)];
  activity += increment_;
  if (activity > kMaxActivity) rescale();
  if (contains(variable)) move_up(positions_[to_index(variable)]);
}

void DecisionHeap::move_up(int position) {
  const int variable = heap_[to_index(position)];
  while (position > 0) {
    const int parent = (position - 1) / 2;
    const int above = heap_[to_index(parent)];
    if (!is_before(variable, above)) break;
    place(position, above);
    position = parent;
  }
  place(position, variable);
}

void DecisionHeap::move_down(int position) {
  const int variable = heap_[to_index(position)];
  for (;;) {
    int child = 2 * position + 1;
    if (child >= size()) break;
    if (child + 1 < size() && is_before(at(child + 1), at(child))) ++child;
    const int below = at(child);
    if (!is_before(below, variable)) break;
    place(position, below);
    position = child;
  }
  place(position, variable);
}

void DecisionHeap::rescale() {
  for (double& activity : activities_) activity /= kMaxActivity;
  increment_ /= kMaxActivity;
  // Activities that became equal by underflow are ordered by index, which the
  // heap may not respect yet.
  for (int i = size() / 2; i-- > 0;) move_down(i);
}

void DecisionHeap::check_invariants() const {
#ifndef NDEBUG
  int present = 0;
  for (int variable = 0; variable < num_variables(); ++variable) {
    if (!contains(variable)) continue;
    ++present;
    assert(at(positions_[to_index(variable)]) == variable);
  }
  assert(present == size());
  for (int i = 1; i < size(); ++i) assert(!is_before(at(i), at((i - 1) / 2)));
#endif
}

}  // namespace vorn::solver
