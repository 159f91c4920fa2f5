// SPDX-License-Identifier: MIT
// Clauses, variables and scopes that come and go between solves.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "solver/search/search.h"
#include "tests/search/oracle.h"

namespace vorn::solver::testing {
namespace {

// Everything kept from one solve to the next must stay true as clauses grow.
TEST(IncrementalTest, GrowingInstancesAgree) {
  for (int seed = 0; seed < scaled(400); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    Search search(nullptr, random_options(random));
    Clauses clauses;
    int variables = 5;
    make_variables(search, variables);
    for (int round = 0; round < 15; ++round) {
      variables += random.below(6);
      make_variables(search, variables);
      const int count = random.below(3 * variables / 2);
      for (int i = 0; i < count; ++i) {
        clauses.push_back(
            random_clause(random, variables, 2 + random.below(3)));
        const bool consistent = search.add_clause(clauses.back());
        ASSERT_EQ(consistent, search.is_consistent());
      }
      for (int i = 0; i < 3; ++i) {
        std::vector<Literal> assumptions;
        const int size = random.below(6);
        for (int k = 0; k < size; ++k) {
          assumptions.emplace_back(random.below(variables),
                                   random.below(2) == 0);
        }
        expect_right_answer(search, clauses, assumptions);
        if (HasFatalFailure()) return;
      }
      if (!search.is_consistent()) break;
    }
  }
}

// A scope as the search sees it: what there was before, and its clauses.
struct Scope {
  int num_variables;
  int selector;
  Clauses clauses;
};

// Popping a scope must take back all that was learnt with its clauses, and
// nothing that is needed.
TEST(IncrementalTest, ScopesAgree) {
  for (int seed = 0; seed < scaled(500); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    Search search(nullptr, random_options(random));
    std::vector<Scope> scopes = {{0, -1, {}}};
    make_variables(search, 6);
    for (int round = 0; round < 30; ++round) {
      const int action = random.below(4);
      if (action == 0 && scopes.size() < 5) {
        const int before = search.num_variables();
        // Without a mark there is more to look at, and no other outcome.
        if (random.below(4) != 0) search.mark();
        scopes.push_back({before, search.new_variable(), {}});
      } else if (action == 1 && scopes.size() > 1) {
        // Sometimes more than one scope at a time.
        do {
          search.shrink_variables(scopes.back().num_variables);
          scopes.pop_back();
        } while (scopes.size() > 1 && random.below(3) == 0);
        search.check_invariants();
      }
      make_variables(search, search.num_variables() + random.below(5));

      // A definition needs no selector: a new variable is true exactly when
      // one of some literals is.
      if (random.below(2) == 0) {
        const int old = scopes.back().selector >= 0 ? scopes.back().selector
                                                    : search.num_variables();
        const std::vector<Literal> literals =
            random_clause(random, std::min(old, 6), 4);
        const Literal name = positive(search.new_variable());
        Clauses definition = {literals};
        definition[0].push_back(~name);
        for (const Literal literal : literals) {
          definition.push_back({~literal, name});
        }
        for (const std::vector<Literal>& clause : definition) {
          search.add_clause(clause);
          scopes.back().clauses.push_back(clause);
        }
      }

      // Clauses for the innermost scope, over plain variables of any scope.
      std::vector<int> plain;
      for (int variable = 0; variable < search.num_variables(); ++variable) {
        const bool is_selector = std::any_of(
            scopes.begin(), scopes.end(),
            [&](const Scope& scope) { return scope.selector == variable; });
        if (!is_selector) plain.push_back(variable);
      }
      const int num_plain = static_cast<int>(plain.size());
      const int count = random.below(num_plain);
      for (int i = 0; i < count; ++i) {
        std::vector<Literal> clause =
            random_clause(random, num_plain, 2 + random.below(2));
        for (Literal& literal : clause) {
          literal = Literal(plain[static_cast<std::size_t>(literal.variable())],
                            literal.is_negated());
        }
        const Scope& scope = scopes.back();
        if (scope.selector >= 0) clause.push_back(negative(scope.selector));
        search.add_clause(clause);
        scopes.back().clauses.push_back(clause);
      }

      Clauses clauses;
      std::vector<Literal> assumptions;
      for (const Scope& scope : scopes) {
        clauses.insert(clauses.end(), scope.clauses.begin(),
                       scope.clauses.end());
        if (scope.selector >= 0) {
          assumptions.push_back(positive(scope.selector));
        }
      }
      for (int i = random.below(3); i > 0; --i) {
        assumptions.emplace_back(
            plain[static_cast<std::size_t>(random.below(num_plain))],
            random.below(2) == 0);
      }
      expect_right_answer(search, clauses, assumptions);
      if (HasFatalFailure()) return;
    }
  }
}

// Level-0 literals of kept variables follow from kept clauses: they stay.
TEST(IncrementalTest, ShrinkVariablesKeepsOlderUnits) {
  Search search;
  make_variables(search, 4);
  search.add_clause({positive(3)});
  search.add_clause({positive(0)});
  search.add_clause({negative(0), positive(1)});

  search.shrink_variables(2);

  EXPECT_EQ(search.num_variables(), 2);
  EXPECT_EQ(search.value(positive(0)), Value::kTrue);
  EXPECT_EQ(search.value(positive(1)), Value::kTrue);
  search.check_invariants();
  EXPECT_EQ(search.new_variable(), 2);
  EXPECT_EQ(search.new_variable(), 3);
  EXPECT_EQ(search.value(positive(3)), Value::kUnassigned);
  EXPECT_EQ(search.solve({negative(3)}), Search::Result::kSat);
}

// A clause may outlive one of its literals: simplified by a level-0 literal of
// a variable that is then forgotten, it must not remember that variable.
TEST(IncrementalTest, ShrinkVariablesKeepsSimplifiedClausesSound) {
  Search search;
  make_variables(search, 5);
  const std::vector<Literal> all = {positive(0), positive(1), positive(2),
                                    positive(3)};
  search.add_clause(
      {positive(0), positive(1), positive(2), positive(3), negative(4)});
  // Either visit of the clause finds only ~4 to be true.
  for (const int last : {0, 1}) {
    ASSERT_EQ(
        search.solve({negative(4), negative(2), negative(3), negative(last)}),
        Search::Result::kSat);
  }
  // Takes ~4 out of the clause and visits it no more.
  search.add_clause({positive(4)});
  ASSERT_EQ(search.solve({positive(0), positive(1)}), Search::Result::kSat);

  search.shrink_variables(4);
  search.check_invariants();
  ASSERT_EQ(search.new_variable(), 4);

  EXPECT_EQ(search.num_given_clauses(), 1U);
  expect_right_answer(
      search, {all},
      {negative(4), negative(0), negative(1), negative(2), negative(3)});
}

// To look ahead leaves no model, but the next solve has a whole one.
TEST(IncrementalTest, LookAheadLeavesLaterModelsWhole) {
  Search search;
  make_variables(search, 2);
  search.add_clause({positive(0)});
  ASSERT_EQ(search.look_ahead({positive(1)}), 2U);

  expect_right_answer(search, {{positive(0)}});
}

// Popping an empty scope must not cost the theory its state.
TEST(IncrementalTest, ShrinkVariablesToMoreDoesNothing) {
  Search search;
  make_variables(search, 2);
  search.add_clause({positive(0), positive(1)});

  search.shrink_variables(2);
  search.shrink_variables(5);

  EXPECT_EQ(search.num_variables(), 2);
  EXPECT_EQ(search.num_given_clauses(), 1U);
}

// The limit case: no clause, watch or learnt fact may be left.
TEST(IncrementalTest, ShrinkVariablesToNothingStartsAnew) {
  Search search;
  make_variables(search, 30);
  Random random(1);
  add_clauses(search, random_3_sat(random, 30, 3.0));
  ASSERT_EQ(search.solve(), Search::Result::kSat);

  search.shrink_variables(0);

  search.check_invariants();
  EXPECT_EQ(search.num_given_clauses() + search.num_learnt_clauses(), 0U);
  EXPECT_EQ(search.solve(), Search::Result::kSat);
}

// Optimisation by bounds does this: a ladder of assumptions, then of units.
TEST(IncrementalTest, TighteningBoundsAgree) {
  for (int seed = 0; seed < scaled(40); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    constexpr int kVariables = 40;
    Search search(nullptr, random_options(random));
    make_variables(search, kVariables);
    Clauses clauses = random_3_sat(random, kVariables, 2.5);
    add_clauses(search, clauses);
    for (int i = 0; i < kVariables && search.is_consistent(); ++i) {
      const Literal bound(i, random.below(2) == 0);
      expect_right_answer(search, clauses, {bound});
      if (HasFatalFailure()) return;
      if (search.failed_assumptions().empty()) {
        clauses.push_back({bound});
      } else {
        clauses.push_back({~bound});
      }
      search.add_clause(clauses.back());
    }
  }
}

}  // namespace
}  // namespace vorn::solver::testing
