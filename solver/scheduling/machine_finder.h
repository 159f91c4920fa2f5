// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_MACHINE_FINDER_H
#define VORN_SOLVER_SCHEDULING_MACHINE_FINDER_H

#include <cstddef>
#include <vector>

#include "solver/scheduling/separation.h"

namespace vorn::solver {

/// Where a separation has presences, finds out which of them belongs to which
/// task, and exchanges them if need be: a task's own presence is the one that
/// it is seen with more often. Cost: linear.
void match_presences(std::vector<Separation>& separations);

/// Bounds on what find_machines does.
struct MachineLimits {
  /// Fewer tasks make no machine: what two tasks can do, bounds show.
  std::size_t fewest_tasks = 3;
  /// The same where some of the tasks are not always there.
  std::size_t fewest_optional_tasks = 3;
  /// A machine keeps a table of the square of its tasks.
  std::size_t most_tasks = 1000;
  /// Steps, each a look at one pair of tasks.
  std::size_t steps = 10'000'000;
};

/// Sets of tasks such that each two of a set have a separation, found from the
/// separations alone: cliques of the graph whose edges are the separations.
///
/// A connected component that is a clique is one machine. In the others each
/// separation that is in no machine yet is grown to a clique, by the task that
/// brings the most separations of which this holds, then the one with the most
/// neighbours, until all are in one. So tasks can be in several machines, such
/// as that of their job and that of their tool.
///
/// Two tasks of which one always comes first need no separation to be in one
/// set, such as two steps of a job that may both be done by one tool; a set of
/// such tasks alone is none. What a task is in is a matter of its presence too:
/// a task with several, one for each tool that may do it, is a task of its own
/// for each. Of several separations of two tasks the first counts.
/// Cost: bounded by limits.steps; what is found by then is returned.
std::vector<Machine> find_machines(
    const std::vector<Separation>& separations,
    const std::vector<Precedence>& precedences = {},
    const MachineLimits& limits = {});

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_MACHINE_FINDER_H
