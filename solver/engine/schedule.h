// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_SCHEDULE_H
#define VORN_SOLVER_ENGINE_SCHEDULE_H

#include <cstddef>
#include <functional>
#include <vector>

#include "solver/engine/difference_theory.h"
#include "solver/engine/problem.h"
#include "solver/terms/term.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// A task of a model.
struct ScheduledTask {
  /// Its start, a variable.
  const Term* start;
  /// The least time from its start to that of any other task of its machine
  /// that may come after it, whether that one is there or not. What must pass
  /// besides before some of them, to set up say, is no part of it.
  QNumber duration;
  /// The same for tasks of different machines of which a clause says that one
  /// comes before the other: the steps of a job, say. From 0 on.
  std::size_t chain;
};

/// Tasks no two of which overlap, in the order of their variables.
using ScheduledMachine = std::vector<ScheduledTask>;

/// The machines of a model: sets of tasks that cannot overlap, as the clauses
/// of the problem say, with the tasks that are there, whether the search
/// reasons about them or not. A set of two is one, too; one of one is, if its
/// task is in no other, and shares its machine with tasks that are not there.
/// A task in several sets, that of its tool and that of its job say, is in
/// each.
///
/// `truth`: of Boolean terms in the model. Requires: no solve is under way;
/// the problem keeps meanings.
/// Cost: linear in the clauses and bounds, and as find_machines.
std::vector<ScheduledMachine> find_schedule(
    const DifferenceTheory& theory, const Problem& problem,
    const std::function<bool(const Term*)>& truth);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_SCHEDULE_H
