// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_TELLING_ORDER_H
#define VORN_SOLVER_ENGINE_TELLING_ORDER_H

#include <cstdint>
#include <vector>

namespace vorn::solver {

/// A constraint target - source <= weight between numbered nodes.
struct WordConstraint {
  /// The node that is subtracted.
  int source;
  /// The node that it is subtracted from.
  int target;
  /// The most that the difference may be.
  std::int64_t weight;
};

/// The order in which a graph takes many constraints at the least cost:
/// positions in `constraints`. Each potential is lowered once, to what it will
/// be in the end, before any edge leaves its node; the other constraints are
/// satisfied as they come, and stay in their order. Empty, if the constraints
/// are inconsistent, or that takes too long to find out: then any order is as
/// good. Whatever this says, it is but an order: that the constraints are
/// consistent is the graph's to say.
///
/// `potentials`: those that the graph has, by node. Cost: at most some ten
/// looks at each constraint. Memory: 20 bytes a constraint, and as many a node.
std::vector<std::uint32_t> telling_order(
    const std::vector<WordConstraint>& constraints,
    std::vector<std::int64_t> potentials);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_TELLING_ORDER_H
