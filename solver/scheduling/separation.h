// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_SEPARATION_H
#define VORN_SOLVER_SCHEDULING_SEPARATION_H

#include <cstddef>
#include <utility>
#include <vector>

#include "solver/search/clause_gate.h"
#include "solver/search/literal.h"
#include "vorn/dl/edge.h"
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
  /// It holds only while all of these are true.
  std::vector<Literal> conditions;
  /// The same, but as a property of one of the tasks: true if it is there at
  /// all, such as when it was given to the machine in question. Undefined for a
  /// task that always is.
  Literal first_presence;
  /// As above.
  Literal second_presence;
  /// The clauses that say so, while they have numbers: it follows from them by
  /// unit propagation in this order.
  std::vector<ClauseNumber> premises = {};
};

/// Two tasks that never overlap, since one always comes first.
struct Precedence {
  /// Nodes.
  int before;
  /// As above.
  int after;
  /// Time from the start of `before` to that of `after`, at least. Positive.
  la::DNumber time;
  /// Constraints that add up to it, each of which always holds; noted only
  /// while clauses have numbers.
  std::vector<Literal> path = {};
};

/// What an edge, target - source <= -time, says of the order of its ends: the
/// target comes first. An order of tasks only if the time is positive.
inline Precedence order_of(const dl::Edge& edge) {
  return {edge.target, edge.source,
          la::DNumber(-edge.weight.rational(), -edge.weight.eps())};
}

/// Tasks no two of which can overlap.
struct Machine {
  /// Nodes, ascending.
  std::vector<int> tasks;
  /// When a task is there: a literal, or undefined for always.
  std::vector<Literal> presences;
  /// How long each task takes, whatever comes after it.
  std::vector<la::DNumber> durations;
  /// Position of the separation of tasks a and b, at a * tasks.size() + b;
  /// the same for both orders. Or kAlwaysBefore if a always comes before b,
  /// kAlwaysAfter if it comes after, kAlwaysAfter on the diagonal.
  std::vector<int> separations;

  /// Values of separations that are no positions.
  static constexpr int kAlwaysBefore = -1;
  /// As above.
  static constexpr int kAlwaysAfter = -2;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_SEPARATION_H
