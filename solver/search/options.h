// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_OPTIONS_H
#define VORN_SOLVER_SEARCH_OPTIONS_H

#include <cstdint>

namespace vorn::solver {

/// When the search gives up its decisions and starts again from the
/// assumptions.
enum class RestartStyle {
  /// After `restart_unit` conflicts times the next number of the Luby
  /// sequence 1, 1, 2, 1, 1, 2, 4, ...
  kLuby,
  /// When recent learnt clauses span clearly more levels than the average.
  kGlue,
  /// Stretches of kGlue and of kLuby in turn; the latter decide by the target
  /// phases if these are on. The stretches grow quadratically.
  kAlternating,
  kNever,
};

/// The knobs of a Search. The defaults are meant to be good on mixed problems.
struct SearchOptions {
  /// When to restart.
  RestartStyle restart_style = RestartStyle::kAlternating;
  /// Luby unit, in conflicts; at least 1.
  int restart_unit = 512;
  /// Conflicts between two glue restarts, at the least.
  int restart_min_conflicts = 4;
  /// Glue restarts happen when the fast average of the glue exceeds the slow
  /// average times this.
  double restart_margin = 1.12;
  /// Length of the first stretch of kAlternating, in conflicts; at least 1.
  int alternation_unit = 1000;

  /// Share of a variable's activity that survives one conflict, in (0, 1).
  double variable_decay = 0.95;
  /// Share of a clause's activity that survives one conflict, in (0, 1).
  double clause_decay = 0.999;

  /// The value a variable is first decided to. Search::set_phase overrides it
  /// for one variable.
  bool default_phase = false;
  /// Ask the theory for the value first, for this many conflicts of a search.
  /// With times of tasks it builds a first schedule, which finds models early;
  /// later, what was learnt knows better.
  int advised_conflicts = 100;
  /// Decide a variable to the value it had last instead of its first phase.
  bool save_phases = true;
  /// In Luby stretches, decide towards the largest assignment without conflict
  /// that was reached since the last rephasing.
  bool target_phases = true;
  /// The j-th rephasing comes this many conflicts times j after the previous
  /// one: the saved phases become in turn those of the best assignment, the
  /// first phases, and random ones. 0 turns it off.
  int rephase_interval = 1000;

  /// The seed of all random choices: the same seed gives the same search. With
  /// a seed other than 0 the variables start with small random activities
  /// instead of equal ones.
  std::uint64_t seed = 0;
  /// Share of decisions made on a random variable, in [0, 1].
  double random_decisions = 0.0;

  /// The n-th clause reduction comes this many conflicts times the square root
  /// of n after the previous one.
  int reduce_interval = 1000;
  /// Share of the candidates that a reduction deletes, in [0, 1].
  double reduce_fraction = 0.6;
  /// Learnt clauses of at most this glue are kept for good.
  int keep_glue = 2;
  /// Learnt clauses of at most this glue survive two reductions without use.
  int middle_glue = 6;

  /// Ask the theory for explanations while minimising learnt clauses, too.
  /// Gives shorter clauses for more calls of Theory::explain.
  bool minimise_through_theory = true;

  /// Conflicts between two calls of the progress function; at least 1.
  int progress_interval = 500;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_OPTIONS_H
