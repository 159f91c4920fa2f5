// SPDX-License-Identifier: MIT
#include "solver/engine/least_difference.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <queue>
#include <utility>

#include "solver/engine/integral_values.h"
#include "vorn/containers/index.h"

namespace vorn::solver {
namespace {

la::DNumber minus(const la::DNumber& number) {
  return {-number.rational(), -number.eps()};
}

}  // namespace

std::optional<la::DNumber> LeastDifference::find(int minuend, int subtrahend) {
  if (!lower_towards(subtrahend, minuend)) return {};
  dl::Edge held(subtrahend, minuend, difference(minuend, subtrahend), 0);
  for (;;) {
    IntegralValues integral(atoms_, active_, held);
    if (!integral.is_mixed() || integral.find(solution_)) break;
    held.weight = integral.least_weight();
  }
  return held.weight;
}

la::DNumber LeastDifference::difference(int minuend, int subtrahend) const {
  return solution_[index(minuend)] + minus(solution_[index(subtrahend)]);
}

LeastDifference::Numbers LeastDifference::least_above(int subtrahend) const {
  Numbers result = find_room(subtrahend, Direction::kIncoming);
  for (std::size_t node = 0; node < result.size(); ++node) {
    if (!result[node]) continue;
    result[node] = minus(*result[node]);
    *result[node] += difference(static_cast<int>(node), subtrahend);
  }
  return result;
}

LeastDifference::Numbers LeastDifference::least_below(int minuend) const {
  Numbers result = find_room(minuend, Direction::kOutgoing);
  for (std::size_t node = 0; node < result.size(); ++node) {
    if (!result[node]) continue;
    result[node] = minus(*result[node]);
    *result[node] += difference(minuend, static_cast<int>(node));
  }
  return result;
}

// Shortest ways to the node, or from it, each constraint as long as the
// solution has room in it, which is never below zero. By the length of its way
// a node is further from it than it need be. Nodes without a way have no bound.
LeastDifference::Numbers LeastDifference::find_room(int end,
                                                    Direction direction) const {
  const bool is_incoming = direction == Direction::kIncoming;
  std::vector<std::vector<int>> next_to(solution_.size());
  for (const int id : active_) {
    const dl::Edge& edge = atoms_.constraint(id).edge;
    next_to[index(is_incoming ? edge.target : edge.source)].push_back(id);
  }
  Numbers room(solution_.size());
  using Entry = std::pair<la::DNumber, int>;
  const auto is_later = [](const Entry& a, const Entry& b) {
    return b.first < a.first;
  };
  std::priority_queue<Entry, std::vector<Entry>, decltype(is_later)> queue(
      is_later);
  std::vector<char> is_done(solution_.size(), 0);
  room[index(end)] = la::DNumber();
  queue.emplace(la::DNumber(), end);
  while (!queue.empty()) {
    const auto [length, node] = queue.top();
    queue.pop();
    if (std::exchange(is_done[index(node)], char{1}) != 0) continue;
    for (const int id : next_to[index(node)]) {
      const dl::Edge& edge = atoms_.constraint(id).edge;
      la::DNumber longer = length + edge.weight;
      longer += difference(edge.source, edge.target);
      const int other = is_incoming ? edge.source : edge.target;
      std::optional<la::DNumber>& known = room[index(other)];
      if (known && !(longer < *known)) continue;
      known = longer;
      queue.emplace(std::move(longer), other);
    }
  }
  return room;
}

// Nodes without a bound from below sink out of the way of those above them, by
// a whole number. False if the minuend is one of these.
bool LeastDifference::lower_towards(int subtrahend, int minuend) {
  const Numbers excess = find_room(subtrahend, Direction::kIncoming);
  if (!excess[index(minuend)]) return false;
  la::DNumber most;
  for (const std::optional<la::DNumber>& one : excess) {
    if (one && most < *one) most = *one;
  }
  QNumber sink = most.rational().ceil();
  sink += QNumber(1);
  const la::DNumber sunk(sink, QNumber(0));
  for (std::size_t node = 0; node < solution_.size(); ++node) {
    solution_[node] += minus(excess[node].value_or(sunk));
  }
  return true;
}

}  // namespace vorn::solver
