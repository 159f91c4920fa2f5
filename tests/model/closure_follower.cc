// SPDX-License-Identifier: MIT
#include "tests/model/closure_follower.h"

#include <cassert>
#include <iterator>

namespace vorn::model {

namespace {

// A matrix of eight nodes with words of 32 bits, and as much for what it notes.
constexpr std::size_t kLittleMemory = 2048;

constexpr std::size_t kMostLeft = 40;

}  // namespace

ClosureFollower::ClosureFollower()
    : comparison_({{"matrix", dl::Closure::Limits()},
                   {"paths", {0, 1000}},
                   {"outgrown matrix", {kLittleMemory, 1000}}}) {}

void ClosureFollower::tell(int id, const EdgeRecord& for_closures,
                           const EdgeRecord& for_model) {
  const int k = next_number_++;
  numbers_[id] = k;
  EdgeRecord closure_edge = for_closures;
  EdgeRecord model_edge = for_model;
  closure_edge.id = id;
  model_edge.id = id;
  comparison_.tell(k, closure_edge, model_edge);
  comparison_.take();
}

void ClosureFollower::check(const std::vector<int>& pending,
                            std::size_t count) {
  for (std::size_t i = 0; i < pending.size() && i <= count; ++i) {
    const int k = numbers_.at(pending[i]);
    const bool is_active = comparison_.push(k);
    if (is_active) active_.push_back(pending[i]);
    comparison_.take();
    if (is_active != (i < count)) {
      comparison_.fail("edge " + std::to_string(pending[i]) + " is " +
                       (is_active ? "consistent" : "inconsistent") +
                       ", and the graph says otherwise");
      return;
    }
  }
}

void ClosureFollower::pop_latest() {
  comparison_.pop();
  active_.pop_back();
}

void ClosureFollower::pop(int constraint) {
  while (!active_.empty() && active_.back() / 2 == constraint) pop_latest();
}

void ClosureFollower::retract(int constraint) {
  for (const int id : {2 * constraint, 2 * constraint + 1}) {
    const auto found = numbers_.find(id);
    if (found == numbers_.end()) continue;
    left_.push_back(found->second);
    numbers_.erase(found);
  }
  retract_left();
}

void ClosureFollower::reset() {
  while (!active_.empty()) pop_latest();
  for (const auto& [id, k] : numbers_) left_.push_back(k);
  numbers_.clear();
  retract_left();
}

void ClosureFollower::retract_left() {
  if (!active_.empty()) return;
  for (const int k : left_) comparison_.retract(k);
  left_.clear();
}

// The bound between `source` and some node, if there is one. Requires: the node
// was named.
void ClosureFollower::tell_goal(int source, std::size_t turn) {
  if (left_.size() >= kMostLeft) return;
  const auto& nodes = comparison_.model().nodes();
  const auto target = std::next(
      nodes.begin(), static_cast<std::ptrdiff_t>(turn / 7 % nodes.size()));
  const Weight* bound = comparison_.model().distance(source, target->first);
  if (bound == nullptr || source == target->first) return;
  left_.push_back(next_number_);
  comparison_.tell(next_number_++, {source, target->first, *bound, -1});
  comparison_.take();
}

void ClosureFollower::observe(std::size_t turn) {
  const auto& nodes = comparison_.model().nodes();
  const std::size_t size = nodes.size();
  if (size == 0 || ++unobserved_ <= 2 + size * size * size / 2000) return;
  unobserved_ = 0;
  comparison_.observe_known();
  const auto source =
      std::next(nodes.begin(), static_cast<std::ptrdiff_t>(turn % size));
  comparison_.observe_bounds(source->first);
  tell_goal(source->first, turn);
}

}  // namespace vorn::model
