// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_OPTIONS_H
#define VORN_SOLVER_SEARCH_OPTIONS_H

#include <cstdint>

namespace vorn::solver {

/// The knobs of a Search. The defaults are meant to be good on mixed problems.
struct SearchOptions {
  /// Conflicts between restarts in stable stretches, times the Luby sequence;
  /// at least 1.
  std::uint64_t restart_unit = 512;
  /// Length of the first stretch of restarts, in conflicts; at least 1.
  std::uint64_t alternation_unit = 1000;

  /// Share of a variable's activity that survives one conflict, in (0, 1).
  double variable_decay = 0.95;
  /// Share of a clause's activity that survives one conflict, in (0, 1).
  double clause_decay = 0.999;

  /// The j-th rephasing comes this many conflicts times j after the previous
  /// one; at least 1. See Phases::rephase.
  std::uint64_t rephase_interval = 1000;

  /// The seed of all random choices: the same seed gives the same search. With
  /// a seed other than 0 the variables start with small random activities
  /// instead of equal ones.
  std::uint64_t seed = 0;

  /// The n-th clause reduction comes this many conflicts times the square root
  /// of n after the previous one; at least 1.
  std::uint64_t reduce_interval = 1000;
  /// Share of the candidates that a reduction deletes, in [0, 1].
  double reduce_fraction = 0.6;
  /// Learnt clauses of at most this glue are kept for good.
  int keep_glue = 2;
  /// Learnt clauses of at most this glue survive two reductions without use.
  int middle_glue = 6;

  /// Conflicts between two looks at what other searches have to say; at
  /// least 1.
  std::uint64_t exchange_interval = 64;

  /// Conflicts between two calls of the progress function; at least 1.
  std::uint64_t progress_interval = 500;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_OPTIONS_H
