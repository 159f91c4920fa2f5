// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_SEPARATION_H
#define VORN_SOLVER_SCHEDULING_SEPARATION_H

#include <cstddef>
#include <utility>
#include <vector>

#include "solver/search/literal.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// Two tasks that cannot overlap: a clause says that one of two bounds holds,
/// "second starts at least so long after first", or the other way round.
///
/// A task is a node of the graph, its value the task's start.
struct Separation {
  /// Nodes.
  int first;
  /// As above.
  int second;
  /// Time from the start of `first` to that of `second`, if `first` comes
  /// first. Positive.
  la::DNumber after_first;
  /// The same, if `second` comes first.
  la::DNumber after_second;
  /// True if `first` comes first.
  Literal first_first;
  /// True if `second` comes first.
  Literal second_first;
  /// The clause holds because all of these are true.
  std::vector<Literal> conditions;
};

/// Tasks no two of which can overlap.
struct Machine {
  /// Nodes, ascending.
  std::vector<int> tasks;
  /// How long each task takes, whatever comes after it.
  std::vector<la::DNumber> durations;
  /// Position of the separation of tasks a and b, at a * tasks.size() + b;
  /// the same for both orders, -1 on the diagonal.
  std::vector<int> separations;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_SEPARATION_H
