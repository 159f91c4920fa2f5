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

// Shortest ways to the subtrahend, each constraint as long as the solution has
// room in it, which is never below zero. By the length of its way a node is too
// high. Nodes without a way have no bound from below, and sink out of the way
// of those above them, by a whole number. False if the minuend is one of these.
bool LeastDifference::lower_towards(int subtrahend, int minuend) {
  std::vector<std::vector<int>> incoming(solution_.size());
  for (const int id : active_) {
    incoming[index(atoms_.constraint(id).edge.target)].push_back(id);
  }
  std::vector<std::optional<la::DNumber>> excess(solution_.size());
  using Entry = std::pair<la::DNumber, int>;
  const auto is_later = [](const Entry& a, const Entry& b) {
    return b.first < a.first;
  };
  std::priority_queue<Entry, std::vector<Entry>, decltype(is_later)> queue(
      is_later);
  std::vector<char> is_done(solution_.size(), 0);
  excess[index(subtrahend)] = la::DNumber();
  queue.emplace(la::DNumber(), subtrahend);
  QNumber most(0);
  while (!queue.empty()) {
    const auto [length, node] = queue.top();
    queue.pop();
    if (std::exchange(is_done[index(node)], char{1}) != 0) continue;
    most = length.rational();
    for (const int id : incoming[index(node)]) {
      const dl::Edge& edge = atoms_.constraint(id).edge;
      la::DNumber longer = length + edge.weight;
      longer += solution_[index(edge.source)];
      longer += minus(solution_[index(node)]);
      std::optional<la::DNumber>& known = excess[index(edge.source)];
      if (known && !(longer < *known)) continue;
      known = longer;
      queue.emplace(std::move(longer), edge.source);
    }
  }
  if (!excess[index(minuend)]) return false;
  most = most.ceil();
  most += QNumber(1);
  const la::DNumber sunk(most, QNumber(0));
  for (std::size_t node = 0; node < solution_.size(); ++node) {
    solution_[node] += minus(excess[node].value_or(sunk));
  }
  return true;
}

}  // namespace vorn::solver
