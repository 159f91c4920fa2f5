// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_SEARCH_ORACLE_H
#define VORN_TESTS_SEARCH_ORACLE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cadical.hpp>
#include <string>
#include <vector>

#include "solver/search/random.h"
#include "solver/search/search.h"
#include "tests/build_kind.h"

namespace vorn::solver::testing {

using Clauses = std::vector<std::vector<Literal>>;

constexpr int kSlowdown = test::kSanitized || !test::kOptimised ? 4
                          : test::kAsserts                      ? 2
                                                                : 1;

/// `count` scaled to the speed of the build, at least 1.
inline int scaled(int count) {
  return std::max(1, count / kSlowdown);
}

inline Literal positive(int variable) {
  return Literal(variable, false);
}
inline Literal negative(int variable) {
  return Literal(variable, true);
}

/// Whether an independent solver finds a model of `clauses` with all
/// `assumptions` true.
inline bool has_model(const Clauses& clauses,
                      const std::vector<Literal>& assumptions = {}) {
  CaDiCaL::Solver solver;
  solver.set("quiet", 1);
  const auto number = [](Literal literal) {
    const int variable = literal.variable() + 1;
    return literal.is_negated() ? -variable : variable;
  };
  for (const std::vector<Literal>& clause : clauses) {
    for (const Literal literal : clause) solver.add(number(literal));
    solver.add(0);
  }
  for (const Literal literal : assumptions) {
    solver.add(number(literal));
    solver.add(0);
  }
  const int result = solver.solve();
  EXPECT_TRUE(result == 10 || result == 20);
  return result == 10;
}

inline void make_variables(Search& search, int count) {
  while (search.num_variables() < count) search.new_variable();
}

/// Adds all clauses; their variables must exist.
inline void add_clauses(Search& search, const Clauses& clauses) {
  for (const std::vector<Literal>& clause : clauses) search.add_clause(clause);
}

inline void expect_model(const Search& search, const Clauses& clauses,
                         const std::vector<Literal>& assumptions = {}) {
  for (const std::vector<Literal>& clause : clauses) {
    bool satisfied = false;
    for (const Literal literal : clause) {
      satisfied = satisfied || search.model_value(literal);
      EXPECT_FALSE(search.model_value(literal) && search.model_value(~literal));
    }
    ASSERT_TRUE(satisfied) << "clause not true in the model";
  }
  for (const Literal literal : assumptions) {
    ASSERT_TRUE(search.model_value(literal)) << "assumption not true";
  }
}

inline void expect_core(const Search& search, const Clauses& clauses,
                        const std::vector<Literal>& assumptions) {
  const std::vector<Literal>& core = search.failed_assumptions();
  for (const Literal literal : core) {
    ASSERT_EQ(std::count(assumptions.begin(), assumptions.end(), literal) > 0,
              true)
        << "not an assumption";
    ASSERT_EQ(std::count(core.begin(), core.end(), literal), 1);
  }
  ASSERT_FALSE(has_model(clauses, core)) << "core has a model";
}

/// Solves and checks the answer, the model or core, and that level 0 is left.
inline void expect_right_answer(Search& search, const Clauses& clauses,
                                const std::vector<Literal>& assumptions = {}) {
  const bool expected = has_model(clauses, assumptions);
  const Search::Result result = search.solve(assumptions);
  ASSERT_EQ(result == Search::Result::kSat, expected);
  ASSERT_EQ(result == Search::Result::kUnsat, !expected);
  ASSERT_EQ(search.level(), 0);
  search.check_invariants();
  if (expected) {
    expect_model(search, clauses, assumptions);
  } else {
    expect_core(search, clauses, assumptions);
    if (!search.is_consistent()) {
      ASSERT_FALSE(has_model(clauses));
    }
  }
}

/// A clause of `size` different variables below `count`.
inline std::vector<Literal> random_clause(Random& random, int count, int size) {
  std::vector<Literal> result;
  while (static_cast<int>(result.size()) < std::min(size, count)) {
    const Literal literal(random.below(count), random.below(2) == 0);
    const bool repeated =
        std::count(result.begin(), result.end(), literal) > 0 ||
        std::count(result.begin(), result.end(), ~literal) > 0;
    if (!repeated) result.push_back(literal);
  }
  return result;
}

inline Clauses random_3_sat(Random& random, int variables, double ratio) {
  Clauses result;
  const int count = static_cast<int>(variables * ratio);
  for (int i = 0; i < count; ++i) {
    result.push_back(random_clause(random, variables, 3));
  }
  return result;
}

/// Every pigeon sits in a hole, no two in the same. Variable
/// pigeon * holes + hole.
inline Clauses pigeonhole(int pigeons, int holes) {
  Clauses result;
  for (int pigeon = 0; pigeon < pigeons; ++pigeon) {
    std::vector<Literal> clause;
    for (int hole = 0; hole < holes; ++hole) {
      clause.push_back(positive(pigeon * holes + hole));
      for (int other = 0; other < pigeon; ++other) {
        result.push_back(
            {negative(pigeon * holes + hole), negative(other * holes + hole)});
      }
    }
    result.push_back(clause);
  }
  return result;
}

/// Settings that make the rare parts of the search common: restarts,
/// reductions and rephasing at every turn.
inline SearchOptions random_options(Random& random) {
  SearchOptions options;
  const auto from_1_to = [&random](int most) {
    return 1 + static_cast<std::uint64_t>(random.below(most));
  };
  if (random.below(2) == 0) options.restart_unit = from_1_to(10);
  if (random.below(2) == 0) options.alternation_unit = from_1_to(20);
  if (random.below(2) == 0) options.reduce_interval = from_1_to(20);
  if (random.below(4) == 0) options.reduce_fraction = 1.0;
  if (random.below(4) == 0) options.keep_glue = 0;
  if (random.below(4) == 0) options.middle_glue = 0;
  if (random.below(2) == 0) options.rephase_interval = from_1_to(10);
  if (random.below(4) == 0) options.variable_decay = 0.5;
  if (random.below(4) == 0) options.clause_decay = 0.5;
  options.seed = random.below(2) == 0 ? 0 : random.next();
  return options;
}

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_SEARCH_ORACLE_H
