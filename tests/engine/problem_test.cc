// SPDX-License-Identifier: MIT
#include "solver/engine/problem.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "tests/engine/difference_theory_fixture.h"

namespace vorn::solver {
namespace {

using ProblemTest = testing::DifferenceTheoryFixture;

// One bound with two variables would have to be tied together by the graph.
TEST_F(ProblemTest, LiteralOfSameBoundIsTheSame) {
  const Literal a = int_literal(ints[0], ints[1], 3);
  const Literal b = int_literal(ints[1], ints[0], 3);

  EXPECT_NE(a, b);
  EXPECT_EQ(int_literal(ints[0], ints[1], 3), a);
  EXPECT_EQ(int_literal(ints[1], ints[0], 3), b);
  EXPECT_EQ(rig.num_atoms(), 2U);
  EXPECT_EQ(search.num_variables(), 2);
}

// Likewise for a bound and its negation.
TEST_F(ProblemTest, LiteralOfOppositeBoundIsNegated) {
  const Literal in_ints = int_literal(ints[0], ints[1], 3);
  const Literal in_reals = real_literal(reals[0], reals[1], 3);
  const Literal below = int_literal(nullptr, ints[0], 2);

  EXPECT_EQ(int_literal(ints[1], ints[0], -4), ~in_ints);
  EXPECT_EQ(real_literal(reals[1], reals[0], -3, true), ~in_reals);
  EXPECT_EQ(int_literal(ints[0], nullptr, -3), ~below);
  EXPECT_EQ(rig.num_atoms(), 3U);
}

// Without the link the search would try contradicting bounds on one pair.
TEST_F(ProblemTest, LiteralOfLinksBoundsOnOnePair) {
  using Clauses = std::vector<std::vector<Literal>>;
  const Literal three = int_literal(ints[0], ints[1], 3);
  EXPECT_EQ(rig.take_clauses(), Clauses{});
  const Literal five = int_literal(ints[0], ints[1], 5);
  EXPECT_EQ(rig.take_clauses(), (Clauses{{~three, five}}));
  // i0 - i1 <= -2 is not (i1 - i0 <= 1).
  const Literal at_least_two = int_literal(ints[1], ints[0], -2);
  EXPECT_EQ(rig.take_clauses(), (Clauses{{at_least_two, three}}));
  int_literal(ints[0], ints[2], 4);
  EXPECT_EQ(rig.take_clauses(), Clauses{});
}

// The chains must say what is true of numbers, and by transitivity all of it.
TEST_F(ProblemTest, LinksAreValidAndComplete) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(seed);
    rig.problem.open_scope();
    std::mt19937 rng(seed);
    const auto pick = [&rng](int n) {
      return static_cast<int>(rng() % static_cast<unsigned>(n));
    };
    const bool integer = pick(2) == 0;
    const Term* x = integer ? ints[0] : reals[0];
    const Term* y = pick(2) == 0 ? nullptr : (integer ? ints[1] : reals[1]);
    std::map<Literal, DifferenceBound> meaning;
    for (int i = 0; i < 12; ++i) {
      DifferenceBound b = bound(x, y, pick(9) - 4, !integer && pick(2) == 0);
      if (pick(2) == 0) std::swap(b.source, b.target);
      const Literal literal = rig.literal_of(b, integer);
      meaning[literal] = b;
      meaning[~literal] = negate_bound(b, integer);
    }
    // Quarters tell all the bounds apart, for integers whole numbers do.
    const auto is_true = [&](Literal literal, const mpq_class& difference) {
      const DifferenceBound& b = meaning.at(literal);
      const mpq_class left =
          b.target == y ? difference : mpq_class(-difference);
      const mpq_class limit = testing::to_mpq(b.weight.rational());
      return b.weight.eps().sign() < 0 ? left < limit : left <= limit;
    };
    std::vector<mpq_class> samples;
    for (int k = -28; k <= 28; ++k) {
      if (!integer || k % 4 == 0) samples.emplace_back(k, 4);
    }
    for (mpq_class& sample : samples) sample.canonicalize();

    std::set<std::pair<Literal, Literal>> implied;
    for (const auto& clause : rig.take_clauses()) {
      ASSERT_EQ(clause.size(), 2U);
      ASSERT_EQ(meaning.count(clause[0]), 1U);
      ASSERT_EQ(meaning.count(clause[1]), 1U);
      for (const mpq_class& sample : samples) {
        ASSERT_TRUE(is_true(clause[0], sample) || is_true(clause[1], sample));
      }
      implied.emplace(~clause[0], clause[1]);
      implied.emplace(~clause[1], clause[0]);
    }
    for (const auto& middle : meaning) {
      for (const auto& from : meaning) {
        for (const auto& to : meaning) {
          if (implied.count({from.first, middle.first}) != 0 &&
              implied.count({middle.first, to.first}) != 0) {
            implied.emplace(from.first, to.first);
          }
        }
      }
    }
    for (const auto& from : meaning) {
      for (const auto& to : meaning) {
        if (from.first.variable() == to.first.variable()) continue;
        bool follows = true;
        for (const mpq_class& sample : samples) {
          follows = follows &&
                    (!is_true(from.first, sample) || is_true(to.first, sample));
        }
        EXPECT_EQ(implied.count({from.first, to.first}) != 0, follows);
      }
    }
    rig.close_scope(0, 0);
  }
}

// A forgotten bound must neither be found again nor be linked to.
TEST_F(ProblemTest, CloseScopeForgetsBoundsAndClauses) {
  const Literal kept = int_literal(ints[0], ints[1], 1);
  rig.problem.open_scope();
  const Literal gone = int_literal(ints[0], ints[1], 2);

  rig.close_scope(1, 1);

  EXPECT_TRUE(rig.take_clauses().empty());
  EXPECT_EQ(int_literal(ints[0], ints[1], 1), kept);
  rig.problem.open_scope();
  EXPECT_EQ(int_literal(ints[0], ints[1], 3), gone);  // the variable is reused
  const auto clauses = rig.take_clauses();
  ASSERT_EQ(clauses.size(), 1U);
  EXPECT_EQ(clauses[0], (std::vector<Literal>{~kept, gone}));
}

// A clause over older variables alone is true whatever the scope says; the
// search keeps it, so the problem must.
TEST_F(ProblemTest, CloseScopeKeepsClausesOverOlderVariables) {
  using Clauses = std::vector<std::vector<Literal>>;
  Problem& problem = rig.problem;
  const Literal a(problem.new_variable(), false);
  const Literal b(problem.new_variable(), false);
  problem.add_clause({a, b}, {ClauseKind::kAsserted, 7});
  problem.open_scope();
  const Literal selector = problem.selectors().back();
  problem.add_clause({~selector, a}, {});
  problem.add_clause({~a, b}, {ClauseKind::kSmallDomain});
  EXPECT_EQ(rig.take_clauses(), (Clauses{{a, b}, {~selector, a}, {~a, b}}));
  problem.add_clause({b, selector}, {});
  problem.add_clause({~b, a}, {ClauseKind::kLemma});

  problem.close_scope();

  EXPECT_EQ(problem.num_variables(), 2);
  EXPECT_TRUE(problem.selectors().empty());
  ASSERT_EQ(problem.num_clauses(), 3U);
  Problem::Clause clause;
  problem.get_clause(0, clause);
  EXPECT_EQ(clause.origin.detail, 7U);
  problem.get_clause(1, clause);
  EXPECT_EQ(clause.literals, (std::vector<Literal>{~a, b}));
  EXPECT_EQ(clause.origin.kind, ClauseKind::kSmallDomain);
  EXPECT_EQ(rig.take_clauses(), (Clauses{{~b, a}}));
}

// A copy that shared anything would change with the original.
TEST_F(ProblemTest, CopyIsApartAndPrintsTheSame) {
  const Literal at_most = int_literal(ints[0], ints[1], 3);
  const Literal p(rig.problem.new_variable(), false);
  rig.problem.add_clause({p, ~at_most}, {});
  const auto text = [](const Problem& problem) {
    std::ostringstream out;
    problem.print(out);
    return out.str();
  };
  Problem copy = rig.problem;
  const std::string before = text(rig.problem);
  EXPECT_EQ(before,
            "2 variables, 1 bounds, 0 facts, 1 clauses, 0 scopes\n"
            "bound 1: i1 - i0 <= 3\n"
            "asserted: 2 -1\n");
  EXPECT_EQ(text(copy), before);

  copy.literal_of(bound(ints[0], ints[1], 5), true);

  EXPECT_EQ(text(rig.problem), before);
  EXPECT_NE(text(copy).find("neighbours: -1 3\n"), std::string::npos);
}

}  // namespace
}  // namespace vorn::solver
