// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "solver/engine/difference_theory.h"
#include "tests/engine/difference_theory_fixture.h"

namespace vorn::solver {
namespace {

class LearningTheoryTest : public testing::DifferenceTheoryFixture {
 protected:
  LearningTheoryTest() : DifferenceTheoryFixture({3, 0.5F, false}) {}

  bool has_lemmas() { return theory.lemma_finder()->graph().has_lemmas(); }

  // Drives the theory as a search would and checks each lemma.
  void run(unsigned seed, bool integer, int& num_lemmas, int& num_new_atoms) {
    std::mt19937 rng(seed);
    const auto pick = [&rng](int n) {
      return static_cast<int>(rng() % static_cast<unsigned>(n));
    };
    std::vector<const Term*> nodes = integer ? ints : reals;
    nodes.push_back(nullptr);
    std::vector<Literal> literals;
    for (int i = 0; i < 25; ++i) {
      const int source = pick(6);
      const int target = (source + 1 + pick(5)) % 6;
      literals.push_back(
          rig.literal_of(bound(nodes[static_cast<std::size_t>(source)],
                               nodes[static_cast<std::size_t>(target)],
                               pick(9) - 4, !integer && pick(2) == 0),
                         integer));
    }
    rig.take_clauses();
    for (int round = 0; round < 40; ++round) {
      std::shuffle(literals.begin(), literals.end(), rng);
      std::set<int> assigned;
      std::vector<Literal> implied;
      std::vector<Literal> conflict;
      for (const Literal literal : literals) {
        if (!assigned.insert(literal.variable()).second) continue;
        theory.new_level();
        theory.assigned(literal);
        if (!theory.propagate(implied, conflict)) break;
      }
      theory.backtrack(0);
      const std::size_t num_atoms = rig.num_atoms();
      std::vector<Literal> clause;
      while (theory.next_lemma(clause)) {
        ++num_lemmas;
        // Valid: its literals cannot all be false.
        std::vector<dl::Edge> negations;
        for (const Literal literal : clause) {
          negations.push_back(edge_of(~literal));
          ASSERT_GE(negations.back().source, 0);
        }
        ASSERT_FALSE(are_consistent(negations));
        clause.clear();
      }
      num_new_atoms += static_cast<int>(rig.num_atoms() - num_atoms);
    }
  }
};

// The graph's lemmas reach the search as clauses; a false one is a wrong
// answer, a dropped one is time lost.
TEST_F(LearningTheoryTest, NextLemmaGivesValidClauses) {
  for (const bool integer : {true, false}) {
    int num_lemmas = 0;
    int num_new_atoms = 0;
    for (unsigned seed = 0; seed < 20; ++seed) {
      SCOPED_TRACE(seed);
      ASSERT_NO_FATAL_FAILURE(run(seed, integer, num_lemmas, num_new_atoms));
    }
    EXPECT_GT(num_lemmas, 50);
    EXPECT_GT(num_new_atoms, 5);
  }
}

// Lemmas that wait while atoms go may speak of them.
TEST_F(LearningTheoryTest, ShrinkAtomsDropsWaitingLemmas) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 rng(seed);
    rig.problem.open_scope();
    theory.update();
    std::vector<Literal> literals;
    for (int i = 0; i < 20; ++i) {
      const auto source = static_cast<std::size_t>(rng() % 5);
      const auto target =
          (source + 1 + static_cast<std::size_t>(rng() % 4)) % 5;
      literals.push_back(int_literal(ints[source], ints[target],
                                     static_cast<int>(rng() % 7) - 4));
    }
    rig.take_clauses();
    for (int round = 0; round < 10 && !has_lemmas(); ++round) {
      std::shuffle(literals.begin(), literals.end(), rng);
      std::vector<Literal> implied;
      std::vector<Literal> conflict;
      std::set<int> assigned;
      for (const Literal literal : literals) {
        if (!assigned.insert(literal.variable()).second) continue;
        theory.assigned(literal);
        if (!theory.propagate(implied, conflict)) break;
      }
      theory.backtrack(-1);
    }
    const bool waiting = has_lemmas();
    rig.close_scope(0, 0);
    std::vector<Literal> clause;
    EXPECT_FALSE(theory.next_lemma(clause));
    if (waiting) return;
  }
  FAIL() << "no lemma was ever waiting";
}

}  // namespace
}  // namespace vorn::solver
