// SPDX-License-Identifier: MIT
#include "solver/engine/difference_theory.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/search/search.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/term_store.h"
#include "tests/engine/difference_theory_fixture.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

using DifferenceTheoryTest = testing::DifferenceTheoryFixture;

// One bound with two variables would have to be tied together by the graph.
TEST_F(DifferenceTheoryTest, LiteralOfSameBoundIsTheSame) {
  const Literal a = int_literal(ints[0], ints[1], 3);
  const Literal b = int_literal(ints[1], ints[0], 3);

  EXPECT_NE(a, b);
  EXPECT_EQ(int_literal(ints[0], ints[1], 3), a);
  EXPECT_EQ(int_literal(ints[1], ints[0], 3), b);
  EXPECT_EQ(theory.num_atoms(), 2U);
  EXPECT_EQ(search.num_variables(), 2);
}

// Likewise for a bound and its negation.
TEST_F(DifferenceTheoryTest, LiteralOfOppositeBoundIsNegated) {
  const Literal in_ints = int_literal(ints[0], ints[1], 3);
  const Literal in_reals = real_literal(reals[0], reals[1], 3);
  const Literal below = int_literal(nullptr, ints[0], 2);

  EXPECT_EQ(int_literal(ints[1], ints[0], -4), ~in_ints);
  EXPECT_EQ(real_literal(reals[1], reals[0], -3, true), ~in_reals);
  EXPECT_EQ(int_literal(ints[0], nullptr, -3), ~below);
  EXPECT_EQ(theory.num_atoms(), 3U);
}

// Without the link the search would try contradicting bounds on one pair.
TEST_F(DifferenceTheoryTest, LiteralOfLinksBoundsOnOnePair) {
  using Clauses = std::vector<std::vector<Literal>>;
  const Literal three = int_literal(ints[0], ints[1], 3);
  EXPECT_EQ(take_clauses(), Clauses{});
  const Literal five = int_literal(ints[0], ints[1], 5);
  EXPECT_EQ(take_clauses(), (Clauses{{~three, five}}));
  // i0 - i1 <= -2 is not (i1 - i0 <= 1).
  const Literal at_least_two = int_literal(ints[1], ints[0], -2);
  EXPECT_EQ(take_clauses(), (Clauses{{at_least_two, three}}));
  int_literal(ints[0], ints[2], 4);
  EXPECT_EQ(take_clauses(), Clauses{});
}

// The chains must say what is true of numbers, and by transitivity all of it.
TEST_F(DifferenceTheoryTest, TakeClauseChainsAreValidAndComplete) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(seed);
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
      const Literal literal = theory.literal_of(b, integer);
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
    for (const auto& clause : take_clauses()) {
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
    theory.shrink_atoms(0);
    search.shrink_variables(0);
  }
}

// Edge 0 means "no edge" to the lemma search, and conflicts of the past name
// constraints of the past: a number used twice gives false lemmas.
TEST_F(DifferenceTheoryTest, ShrinkAtomsNeverFreesConstraintNumbers) {
  int_literal(ints[0], ints[1], 1);
  int_literal(ints[1], ints[2], 2);
  const auto known = [this](int constraint) {
    return theory.graph().get_edge(2 * constraint).source >= 0;
  };
  EXPECT_FALSE(known(0));
  for (int k = 1; k <= 4; ++k) {
    EXPECT_TRUE(known(k));
    EXPECT_EQ(theory.graph().get_edge(2 * k).id, k);
  }
  EXPECT_FALSE(known(5));

  theory.shrink_atoms(1);
  search.shrink_variables(1);
  EXPECT_EQ(theory.num_atoms(), 1U);
  EXPECT_TRUE(known(1) && known(2));
  EXPECT_FALSE(known(3) || known(4));

  int_literal(ints[1], ints[2], 2);
  EXPECT_FALSE(known(3) || known(4));
  EXPECT_TRUE(known(5) && known(6));
}

// A forgotten bound must neither be found again nor be linked to.
TEST_F(DifferenceTheoryTest, ShrinkAtomsForgetsBoundsAndClauses) {
  const Literal kept = int_literal(ints[0], ints[1], 1);
  const Literal gone = int_literal(ints[0], ints[1], 2);

  theory.shrink_atoms(1);
  search.shrink_variables(1);

  EXPECT_TRUE(take_clauses().empty());
  EXPECT_EQ(int_literal(ints[0], ints[1], 1), kept);
  EXPECT_EQ(int_literal(ints[0], ints[1], 3), gone);  // the variable is reused
  const auto clauses = take_clauses();
  ASSERT_EQ(clauses.size(), 1U);
  EXPECT_EQ(clauses[0], (std::vector<Literal>{~kept, gone}));
}

// The clause that the search learns from: all of it false, and a cycle.
TEST_F(DifferenceTheoryTest, PropagateNegativeCycleExplainsIt) {
  const Literal a = int_literal(ints[0], ints[1], 1);
  const Literal b = int_literal(ints[1], ints[2], -3);
  const Literal c = int_literal(ints[2], ints[0], 1);
  const Literal other = int_literal(ints[3], ints[4], 0);
  std::vector<Literal> implied;
  std::vector<Literal> conflict;
  theory.assigned(other);
  theory.new_level();
  theory.assigned(a);
  theory.assigned(c);
  ASSERT_TRUE(theory.propagate(implied, conflict));
  theory.new_level();
  theory.assigned(b);

  ASSERT_FALSE(theory.propagate(implied, conflict));
  std::sort(conflict.begin(), conflict.end());
  std::vector<Literal> expected = {~a, ~b, ~c};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(conflict, expected);
  EXPECT_TRUE(implied.empty());

  conflict.clear();
  theory.backtrack(1);
  EXPECT_TRUE(theory.propagate(implied, conflict));
  theory.assigned(~b);
  EXPECT_TRUE(theory.propagate(implied, conflict));
  theory.backtrack(-1);
  theory.assigned(b);
  theory.assigned(a);
  EXPECT_TRUE(theory.propagate(implied, conflict));
  theory.backtrack(-1);
}

// Strict bounds hold in the reals only if eps is small enough for each.
TEST_F(DifferenceTheoryTest, ModelValueChoosesEpsSmallEnough) {
  // 0 < r0 < r1 < r2 < r3 < 1, but r3 - r0 > 0.999.
  std::vector<DifferenceBound> bounds = {
      bound(reals[0], nullptr, 0, true),  bound(reals[1], reals[0], 0, true),
      bound(reals[2], reals[1], 0, true), bound(reals[3], reals[2], 0, true),
      bound(nullptr, reals[3], 1, true),
  };
  QNumber close(-999);
  close /= QNumber(1000);
  bounds.push_back({reals[3], reals[0], la::DNumber(close, QNumber(-1))});
  for (const DifferenceBound& b : bounds) {
    search.add_clause({theory.literal_of(b, false)});
  }
  add_clauses();

  ASSERT_EQ(search.solve(), Search::Result::kSat);
  for (const DifferenceBound& b : bounds) EXPECT_TRUE(holds(b));
}

// The same with random bounds, and consistency against an independent judge.
TEST_F(DifferenceTheoryTest, ModelValueSatisfiesRandomBounds) {
  int num_consistent = 0;
  constexpr int kRounds = 200;
  for (unsigned seed = 0; seed < kRounds; ++seed) {
    SCOPED_TRACE(seed);
    TermStore terms;
    AtomNormaliser atoms(terms);
    DifferenceTheory real_theory(terms, atoms, {});
    Search real_search(&real_theory);
    real_theory.attach(&real_search);
    std::mt19937 rng(seed);
    const auto pick = [&rng](int n) {
      return static_cast<int>(rng() % static_cast<unsigned>(n));
    };
    std::vector<const Term*> nodes = {nullptr};
    for (int i = 0; i < 5; ++i) {
      nodes.push_back(terms.make_symbol("r" + std::to_string(i), Sort::kReal));
    }
    std::vector<DifferenceBound> bounds;
    std::vector<dl::Edge> edges;
    for (int i = 0; i < 9; ++i) {
      const int source = pick(6);
      const int target = (source + 1 + pick(5)) % 6;
      QNumber weight(pick(12) - 3);
      weight /= QNumber(pick(5) + 1);
      const la::DNumber limit(weight, QNumber(-pick(2)));
      bounds.push_back({nodes[static_cast<std::size_t>(source)],
                        nodes[static_cast<std::size_t>(target)], limit});
      edges.emplace_back(source, target, limit, i);
      real_search.add_clause({real_theory.literal_of(bounds.back(), false)});
    }
    std::vector<Literal> clause;
    while (real_theory.take_clause(clause)) real_search.add_clause(clause);

    const bool consistent = are_consistent(edges);
    ASSERT_EQ(real_search.solve() == Search::Result::kSat, consistent);
    if (!consistent) continue;
    ++num_consistent;
    for (const DifferenceBound& b : bounds) {
      mpq_class difference = 0;
      if (b.target != nullptr) {
        difference += testing::to_mpq(*real_theory.model_value(b.target));
      }
      if (b.source != nullptr) {
        difference -= testing::to_mpq(*real_theory.model_value(b.source));
      }
      const mpq_class limit = testing::to_mpq(b.weight.rational());
      EXPECT_TRUE(b.weight.eps().sign() < 0 ? difference < limit
                                            : difference <= limit);
    }
  }
  EXPECT_GT(num_consistent, kRounds / 10);
  EXPECT_LT(num_consistent, kRounds * 9 / 10);
}

// Reals move the common zero by fractions; integers must not follow.
TEST_F(DifferenceTheoryTest, ModelValueOfIntegerBesideRealsIsIntegral) {
  QNumber half(-1);
  half /= QNumber(2);
  const DifferenceBound at_most_five = bound(nullptr, ints[0], 5);
  const DifferenceBound at_least_half = {reals[0], nullptr,
                                         la::DNumber(half, QNumber(0))};
  const DifferenceBound positive = bound(reals[1], nullptr, 0, true);
  search.add_clause({theory.literal_of(at_most_five, true)});
  search.add_clause({theory.literal_of(at_least_half, false)});
  search.add_clause({theory.literal_of(positive, false)});

  ASSERT_EQ(search.solve(), Search::Result::kSat);
  EXPECT_EQ(value(ints[0]).get_den(), 1);
  EXPECT_TRUE(holds(at_most_five));
  EXPECT_TRUE(holds(at_least_half));
  EXPECT_TRUE(holds(positive));
}

// A term that is in no bound has no node, and nothing to read.
TEST_F(DifferenceTheoryTest, ModelValueOfUnknownVariableIsNothing) {
  search.add_clause({int_literal(nullptr, ints[0], 3)});
  add_clauses();

  ASSERT_EQ(search.solve(), Search::Result::kSat);
  EXPECT_TRUE(theory.model_value(ints[0]).has_value());
  EXPECT_FALSE(theory.model_value(ints[1]).has_value());
}

}  // namespace
}  // namespace vorn::solver
