// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_ENGINE_PROBLEM_RIG_H
#define VORN_TESTS_ENGINE_PROBLEM_RIG_H

#include <cstddef>
#include <vector>

#include "solver/engine/difference_theory.h"
#include "solver/engine/problem.h"
#include "solver/search/search.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/term_store.h"

namespace vorn::solver::testing {

/// A problem with the theory and the search that solve it.
struct ProblemRig {
  explicit ProblemRig(TermStore& store,
                      const Configuration::Theory::La& lemmas = {})
      : theory(store, problem, lemmas), search(&theory) {
    theory.attach(&search);
  }

  Literal literal_of(const DifferenceBound& bound, bool integer) {
    const Literal literal = problem.literal_of(bound, integer);
    theory.update();
    return literal;
  }
  std::size_t num_atoms() const { return problem.atoms().atoms().size(); }

  /// The problem's clauses that were not taken yet.
  std::vector<std::vector<Literal>> take_clauses() {
    std::vector<std::vector<Literal>> clauses;
    Problem::Clause clause;
    while (problem.take_clause(clause)) clauses.push_back(clause.literals);
    return clauses;
  }
  /// Hands the search what is new in the problem.
  void feed() {
    theory.update();
    for (const auto& clause : take_clauses()) search.add_clause(clause);
    theory.push_facts([] { return false; });
  }
  Search::Result solve(const std::vector<Literal>& assumptions = {}) {
    feed();
    return search.solve(assumptions);
  }

  /// Closes the scope opened last, which began with so many atoms and facts,
  /// and variables.
  void close_scope(std::size_t num_bounds, int num_variables) {
    search.shrink_variables(num_variables);
    theory.rollback(num_bounds);
    problem.close_scope();
  }

  Problem problem;
  DifferenceTheory theory;
  Search search;
};

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_ENGINE_PROBLEM_RIG_H
