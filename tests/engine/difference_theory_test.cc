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
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/engine/graph_recorder.h"
#include "solver/search/search.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/term_store.h"
#include "tests/engine/difference_theory_fixture.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

using DifferenceTheoryTest = testing::DifferenceTheoryFixture;

// Edge 0 means "no edge" to the lemma search. Other numbers come round, so that
// sessions of many scopes need no more of them than one scope does.
TEST_F(DifferenceTheoryTest, ShrinkAtomsFreesTheirConstraintNumbers) {
  int_literal(ints[0], ints[1], 1);
  rig.problem.open_scope();
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

  rig.close_scope(1, 1);
  EXPECT_EQ(rig.num_atoms(), 1U);
  EXPECT_TRUE(known(1) && known(2));
  EXPECT_FALSE(known(3) || known(4));

  int_literal(ints[2], ints[3], 5);
  EXPECT_TRUE(known(3) && known(4));
  EXPECT_FALSE(known(5) || known(6));
  EXPECT_EQ(theory.graph().get_edge(2 * 3).weight.rational(), QNumber(5));
}

// What a scope had is gone without a trace, and what is left means the same: a
// bound with the number or the nodes of another one is a wrong answer.
TEST_F(DifferenceTheoryTest, RenumberKeepsBoundsAndDropsAllElse) {
  int num_consistent = 0;
  constexpr int kRounds = 200;
  for (unsigned seed = 0; seed < kRounds; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    const auto pick = [&rng](int n) {
      return static_cast<int>(rng() % static_cast<unsigned>(n));
    };
    testing::ProblemRig own(store);
    const auto any_bound = [&] {
      const int source = pick(6);
      const int target = (source + 1 + pick(5)) % 6;
      const auto node = [this](int k) {
        return k == 5 ? nullptr : ints[static_cast<std::size_t>(k)];
      };
      return bound(node(source), node(target), pick(8) - 3);
    };
    std::vector<DifferenceBound> bounds;
    std::vector<std::pair<Literal, DifferenceBound>> meanings;
    for (int round = 0; round < 4; ++round) {
      const std::size_t num_atoms = own.num_atoms();
      const int num_variables = own.problem.num_variables();
      own.problem.open_scope();
      for (int k = pick(9); k > 0; --k) own.literal_of(any_bound(), true);
      if (pick(2) == 0) own.solve(own.problem.selectors());
      own.close_scope(num_atoms, num_variables);
      own.theory.renumber(own.problem.renumber_atoms());

      const AtomTable& atoms = own.problem.atoms();
      std::set<const Term*> variables;
      for (const auto& [literal, b] : meanings) {
        variables.insert({b.source, b.target});
        const dl::Edge& edge = atoms.constraint(atoms.bound(literal).id).edge;
        EXPECT_EQ(edge.id, atoms.bound(literal).id);
        EXPECT_EQ(atoms.term_of(edge.source), b.source);
        EXPECT_EQ(atoms.term_of(edge.target), b.target);
        EXPECT_EQ(edge.weight.rational(), b.weight.rational());
        EXPECT_EQ(own.problem.literal_of(b, true), literal);
      }
      variables.insert(nullptr);
      EXPECT_EQ(atoms.num_nodes(), static_cast<int>(variables.size()));
      EXPECT_EQ(atoms.num_constraints(), 2 * static_cast<int>(own.num_atoms()));
      EXPECT_EQ(atoms.num_forgotten(), 0U);

      for (int k = 1 + pick(3); k > 0; --k) {
        bounds.push_back(any_bound());
        const Literal literal = own.literal_of(bounds.back(), true);
        meanings.emplace_back(literal, bounds.back());
        own.problem.add_clause({literal}, {});
      }
    }
    std::vector<dl::Edge> edges;
    const auto number = [this](const Term* node) {
      const auto found = std::find(ints.begin(), ints.end(), node);
      return static_cast<int>(found - ints.begin());
    };
    for (const DifferenceBound& b : bounds) {
      edges.emplace_back(number(b.source), number(b.target), b.weight, 0);
    }
    const bool consistent = are_consistent(edges);
    EXPECT_EQ(own.solve() == Search::Result::kSat, consistent);
    num_consistent += consistent ? 1 : 0;
  }
  EXPECT_GT(num_consistent, kRounds / 10);
  EXPECT_LT(num_consistent, kRounds * 9 / 10);
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

// A check looks at all edges of a node, so what follows from a tighter bound on
// the same nodes costs time at each; what conflicts with the tighter one is
// found as before, and all is taken back.
TEST_F(DifferenceTheoryTest, LevelZeroKeepsTheTightestBoundsOnTheGraph) {
  constexpr int kBounds = 100;
  std::ostringstream calls;
  GraphRecorder recorder(calls);
  theory.set_recorder(&recorder);
  const auto num_on_graph = [&] {
    recorder.finish();
    std::istringstream lines(calls.str());
    int num = 0;
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind("push", 0) == 0) ++num;
      if (line.rfind("pop", 0) == 0) --num;
    }
    return num;
  };
  std::vector<Literal> implied;
  std::vector<Literal> conflict;
  for (int k = kBounds; k > 0; --k) {
    theory.assigned(int_literal(ints[0], ints[1], k));
    ASSERT_TRUE(theory.propagate(implied, conflict));
  }
  EXPECT_EQ(num_on_graph(), kBounds);

  theory.new_level();
  EXPECT_EQ(num_on_graph(), 1);
  const Literal back = int_literal(ints[1], ints[0], -2);
  theory.assigned(back);
  EXPECT_FALSE(theory.propagate(implied, conflict));
  const Literal tightest = int_literal(ints[0], ints[1], 1);
  EXPECT_EQ(std::set<Literal>(conflict.begin(), conflict.end()),
            (std::set<Literal>{~back, ~tightest}));

  theory.backtrack(-1);
  EXPECT_EQ(num_on_graph(), 0);
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
    search.add_clause({rig.literal_of(b, false)});
  }
  rig.feed();

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
    testing::ProblemRig own(terms);
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
      own.search.add_clause({own.literal_of(bounds.back(), false)});
    }

    const bool consistent = are_consistent(edges);
    ASSERT_EQ(own.solve() == Search::Result::kSat, consistent);
    if (!consistent) continue;
    ++num_consistent;
    for (const DifferenceBound& b : bounds) {
      mpq_class difference = 0;
      if (b.target != nullptr) {
        difference += testing::to_mpq(*own.theory.model_value(b.target));
      }
      if (b.source != nullptr) {
        difference -= testing::to_mpq(*own.theory.model_value(b.source));
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
  search.add_clause({rig.literal_of(at_most_five, true)});
  search.add_clause({rig.literal_of(at_least_half, false)});
  search.add_clause({rig.literal_of(positive, false)});

  ASSERT_EQ(search.solve(), Search::Result::kSat);
  EXPECT_EQ(value(ints[0]).get_den(), 1);
  EXPECT_TRUE(holds(at_most_five));
  EXPECT_TRUE(holds(at_least_half));
  EXPECT_TRUE(holds(positive));
}

// A term that is in no bound has no node, and nothing to read.
TEST_F(DifferenceTheoryTest, ModelValueOfUnknownVariableIsNothing) {
  search.add_clause({int_literal(nullptr, ints[0], 3)});
  rig.feed();

  ASSERT_EQ(search.solve(), Search::Result::kSat);
  EXPECT_TRUE(theory.model_value(ints[0]).has_value());
  EXPECT_FALSE(theory.model_value(ints[1]).has_value());
}

}  // namespace
}  // namespace vorn::solver
