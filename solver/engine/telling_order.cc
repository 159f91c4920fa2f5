// SPDX-License-Identifier: MIT
#include "solver/engine/telling_order.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "solver/terms/fetch.h"
#include "vorn/containers/index.h"

// Bellman and Ford's relaxation with a queue of nodes, on words, from the
// graph's potentials. It ends in the greatest solution that is nowhere above
// these, which the graph comes to in any order; and each lowered node remembers
// the constraint that lowered it last. These constraints form trees, since a
// cycle of them would be negative. Told from the roots down, each finds its
// source as it will be, and its target where it was.

namespace vorn::solver {
namespace {

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
// Looks at a constraint, on the average, until order is not worth it.
constexpr std::size_t kMostLooks = 16;
// Places in the queue from what is fetched to what is looked at.
constexpr std::size_t kStage = 4;
// Far from where sums of so few looks could overflow.
constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max() / 4;

// Numbers grouped by node: those of node n from starts[n] to starts[n + 1].
struct Groups {
  std::vector<std::uint32_t> starts;
  std::vector<std::uint32_t> members;
};

// Groups positions from 0 to count - 1 by node_of(position); -1 for none.
template <class NodeOf>
Groups group(std::size_t num_nodes, std::size_t count, const NodeOf& node_of) {
  Groups groups;
  groups.starts.assign(num_nodes + 1, 0);
  for (std::size_t k = 0; k < count; ++k) {
    const int node = node_of(k);
    if (node >= 0) ++groups.starts[index(node) + 1];
  }
  for (std::size_t n = 0; n < num_nodes; ++n) {
    groups.starts[n + 1] += groups.starts[n];
  }
  groups.members.resize(groups.starts[num_nodes]);
  std::vector<std::uint32_t> next = groups.starts;
  for (std::size_t k = 0; k < count; ++k) {
    const int node = node_of(k);
    if (node < 0) continue;
    groups.members[next[index(node)]++] = static_cast<std::uint32_t>(k);
  }
  return groups;
}

// Lowers the potentials to a solution, and notes the constraint that lowered
// each node. False if there may be none.
bool relax(const std::vector<WordConstraint>& constraints,
           std::vector<std::int64_t>& potentials,
           std::vector<std::uint32_t>& lowered_by) {
  const std::size_t num_nodes = potentials.size();
  Groups outgoing = group(num_nodes, constraints.size(),
                          [&](std::size_t k) { return constraints[k].source; });
  // A ring: each node is in it once at most.
  std::vector<std::uint32_t> queue(num_nodes);
  for (std::size_t n = 0; n < num_nodes; ++n) {
    queue[n] = static_cast<std::uint32_t>(n);
  }
  std::vector<char> waits(num_nodes, 1);
  std::size_t head = 0;
  std::size_t num_waiting = num_nodes;
  std::size_t looks = 0;
  // Visits the constraints of the node that many places behind the first.
  const auto visit_later = [&](std::size_t places, const auto& visit) {
    if (places >= num_waiting) return;
    const std::size_t place = head + places;
    const std::size_t node =
        queue[place < num_nodes ? place : place - num_nodes];
    for (std::size_t k = outgoing.starts[node]; k < outgoing.starts[node + 1];
         ++k) {
      visit(constraints[outgoing.members[k]]);
    }
  };
  while (num_waiting > 0) {
    visit_later(2 * kStage, [](const WordConstraint& c) { fetch(&c); });
    visit_later(kStage, [&](const WordConstraint& c) {
      fetch(&potentials[index(c.target)]);
    });
    const std::size_t node = queue[head];
    head = head + 1 == num_nodes ? 0 : head + 1;
    --num_waiting;
    waits[node] = 0;
    const std::size_t end = outgoing.starts[node + 1];
    looks += end - outgoing.starts[node];
    if (looks > kMostLooks * constraints.size()) return false;
    for (std::size_t place = outgoing.starts[node]; place < end; ++place) {
      const std::uint32_t k = outgoing.members[place];
      const std::size_t target = index(constraints[k].target);
      const std::int64_t limit = potentials[node] + constraints[k].weight;
      if (limit >= potentials[target]) continue;
      if (limit < -kLargest) return false;
      potentials[target] = limit;
      lowered_by[target] = k;
      if (waits[target] != 0) continue;
      waits[target] = 1;
      const std::size_t tail = head + num_waiting;
      queue[tail < num_nodes ? tail : tail - num_nodes] =
          static_cast<std::uint32_t>(target);
      ++num_waiting;
    }
  }
  return true;
}

}  // namespace

std::vector<std::uint32_t> telling_order(
    const std::vector<WordConstraint>& constraints,
    std::vector<std::int64_t> potentials) {
  const std::size_t num_nodes = potentials.size();
  const auto is_large = [](std::int64_t word) {
    return word > kLargest || word < -kLargest;
  };
  if (constraints.size() >= kNone ||
      std::any_of(potentials.begin(), potentials.end(), is_large) ||
      std::any_of(constraints.begin(), constraints.end(),
                  [&](const auto& c) { return is_large(c.weight); })) {
    return {};
  }
  std::vector<std::uint32_t> lowered_by(num_nodes, kNone);
  if (!relax(constraints, potentials, lowered_by)) return {};

  const Groups children = group(num_nodes, num_nodes, [&](std::size_t n) {
    return lowered_by[n] == kNone ? -1 : constraints[lowered_by[n]].source;
  });
  std::vector<std::uint32_t> order;
  order.reserve(constraints.size());
  std::vector<char> is_ordered(constraints.size(), 0);
  std::vector<std::uint32_t> nodes;
  for (std::size_t n = 0; n < num_nodes; ++n) {
    if (lowered_by[n] == kNone) nodes.push_back(static_cast<std::uint32_t>(n));
  }
  for (std::size_t next = 0; next < nodes.size(); ++next) {
    const std::size_t node = nodes[next];
    for (std::uint32_t c = children.starts[node]; c < children.starts[node + 1];
         ++c) {
      const std::uint32_t child = children.members[c];
      nodes.push_back(child);
      order.push_back(lowered_by[child]);
      is_ordered[lowered_by[child]] = 1;
    }
  }
  for (std::size_t k = 0; k < constraints.size(); ++k) {
    if (is_ordered[k] == 0) order.push_back(static_cast<std::uint32_t>(k));
  }
  return order;
}

}  // namespace vorn::solver
