// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_STATISTICS_H
#define VORN_SOLVER_SEARCH_STATISTICS_H

#include <cstdint>

namespace vorn::solver {

/// Counters of a Search since it was made, over all calls of solve.
struct SearchStatistics {
  /// Literals assigned because nothing implied them.
  std::uint64_t decisions = 0;
  /// Clauses found false, and assignments that the theory refused.
  std::uint64_t conflicts = 0;
  /// Literals whose watch lists were visited.
  std::uint64_t propagations = 0;
  /// Returns to level 0 to decide anew.
  std::uint64_t restarts = 0;
  /// Rounds of deleting learnt clauses.
  std::uint64_t reductions = 0;
  /// Clauses learnt from conflicts.
  std::uint64_t learnt_clauses = 0;
  /// Literals that minimisation removed.
  std::uint64_t minimised_literals = 0;
  /// Learnt clauses and lemmas deleted by reductions.
  std::uint64_t deleted_clauses = 0;
  /// Conflicts that came from the theory; also counted in `conflicts`.
  std::uint64_t theory_conflicts = 0;
  /// Literals assigned because the theory implied them.
  std::uint64_t theory_propagations = 0;
  /// Calls of Theory::explain.
  std::uint64_t theory_explanations = 0;
  /// Lemmas that were neither tautologies nor satisfied for good.
  std::uint64_t lemmas = 0;
  /// Times that a learnt clause, or a lemma, took part in a conflict.
  std::uint64_t learnt_uses = 0;
  /// Of these, lemmas.
  std::uint64_t lemma_uses = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_STATISTICS_H
