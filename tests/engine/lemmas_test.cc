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

  int pick(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
  std::vector<Literal> random_literals(int count, bool integer) {
    std::vector<const Term*> nodes = integer ? ints : reals;
    nodes.push_back(nullptr);
    std::vector<Literal> literals;
    for (int i = 0; i < count; ++i) {
      const int source = pick(6);
      const int target = (source + 1 + pick(5)) % 6;
      literals.push_back(
          rig.literal_of(bound(nodes[static_cast<std::size_t>(source)],
                               nodes[static_cast<std::size_t>(target)],
                               pick(9) - 4, !integer && pick(2) == 0),
                         integer));
    }
    rig.take_clauses();
    return literals;
  }
  // Drives the theory up to a conflict, as a search would, and back to the
  // level that it was at.
  void meet_conflict(std::vector<Literal> literals, int level) {
    std::shuffle(literals.begin(), literals.end(), rng);
    std::set<int> assigned;
    std::vector<Literal> implied;
    std::vector<Literal> conflict;
    for (const Literal literal : literals) {
      if (!assigned.insert(literal.variable()).second) continue;
      if (level >= 0) theory.new_level();
      theory.assigned(literal);
      if (!theory.propagate(implied, conflict)) break;
    }
    theory.backtrack(level);
  }
  // Lemmas are valid: their literals cannot all be false.
  void check_lemmas(int& num_lemmas) {
    std::vector<Literal> clause;
    while (theory.next_lemma(clause)) {
      ++num_lemmas;
      std::vector<dl::Edge> negations;
      for (const Literal literal : clause) {
        const AtomTable& atoms = rig.problem.atoms();
        const int id = atoms.bound(~literal).id;
        ASSERT_GT(id, 0);
        negations.push_back(atoms.constraint(id).edge);
      }
      ASSERT_FALSE(are_consistent(negations));
      clause.clear();
    }
  }

  std::mt19937 rng;
};

// The graph's lemmas reach the search as clauses; a false one is a wrong
// answer, a dropped one is time lost.
TEST_F(LearningTheoryTest, NextLemmaGivesValidClauses) {
  for (const bool integer : {true, false}) {
    int num_lemmas = 0;
    std::size_t num_new_atoms = 0;
    for (unsigned seed = 0; seed < 20; ++seed) {
      SCOPED_TRACE(seed);
      rng.seed(seed);
      const std::vector<Literal> literals = random_literals(25, integer);
      for (int round = 0; round < 40; ++round) {
        meet_conflict(literals, 0);
        const std::size_t num_atoms = rig.num_atoms();
        ASSERT_NO_FATAL_FAILURE(check_lemmas(num_lemmas));
        num_new_atoms += rig.num_atoms() - num_atoms;
      }
    }
    EXPECT_GT(num_lemmas, 50);
    EXPECT_GT(num_new_atoms, 5U);
  }
}

// The conflict before may name constraints whose numbers are those of others by
// now, beside some that are still there: what follows from both conflicts then
// follows from nothing.
TEST_F(LearningTheoryTest, LemmasKnowNothingOfScopesThatWereLeft) {
  int num_lemmas = 0;
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    rng.seed(seed);
    const std::vector<Literal> lasting = random_literals(6, true);
    for (int scope = 0; scope < 5; ++scope) {
      const std::size_t num_atoms = rig.num_atoms();
      const int num_variables = rig.problem.num_variables();
      rig.problem.open_scope();
      theory.update();
      std::vector<Literal> literals = random_literals(4, true);
      literals.insert(literals.end(), lasting.begin(), lasting.end());
      for (int round = 0; round < 3; ++round) {
        meet_conflict(literals, -1);
        ASSERT_NO_FATAL_FAILURE(check_lemmas(num_lemmas));
      }
      rig.close_scope(num_atoms, num_variables);
    }
  }
  EXPECT_GT(num_lemmas, 200);
}

// Lemmas that wait while atoms go may speak of them.
TEST_F(LearningTheoryTest, ShrinkAtomsDropsWaitingLemmas) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    rng.seed(seed);
    rig.problem.open_scope();
    theory.update();
    const std::vector<Literal> literals = random_literals(20, true);
    for (int round = 0; round < 10 && !has_lemmas(); ++round) {
      meet_conflict(literals, -1);
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
