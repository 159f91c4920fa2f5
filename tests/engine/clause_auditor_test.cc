// SPDX-License-Identifier: MIT
#include "solver/engine/clause_auditor.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

#include "tests/engine/difference_theory_fixture.h"

namespace vorn::solver {
namespace {

/// An auditor that hears everything with one thing changed, now and then.
class Forger final : public ClauseListener {
 public:
  Forger(const Problem& problem, unsigned seed) : auditor(problem), rng(seed) {}

  void added(ClauseNumber number, const std::vector<Literal>& clause,
             ClauseOrigin origin) override {
    ++num_clauses[static_cast<std::size_t>(origin.kind)];
    auditor.added(number, clause, origin);
  }
  void derived(ClauseNumber number, const std::vector<Literal>& clause,
               const std::vector<ClauseNumber>& premises) override {
    ++num_derived;
    if (forges && premises.size() > 1) {
      // Less one premise, which all are needed.
      std::vector<ClauseNumber> fewer = premises;
      fewer.erase(fewer.begin() +
                  static_cast<std::ptrdiff_t>(rng() % fewer.size()));
      auditor.derived(++num_forged + 1'000'000'000, clause, fewer);
    }
    auditor.derived(number, clause, premises);
  }
  void forgotten(ClauseNumber number) override { auditor.forgotten(number); }
  void shrunk(int num_variables) override { auditor.shrunk(num_variables); }

  ClauseAuditor auditor;
  std::mt19937 rng;
  bool forges = false;
  ClauseNumber num_forged = 0;
  std::uint64_t num_derived = 0;
  std::size_t num_clauses[std::size(kClauseKindNames)] = {};
};

class ClauseAuditorTest : public testing::DifferenceTheoryFixture {
 protected:
  // A random question, asked in scopes and under assumptions.
  static void ask(unsigned seed, testing::ProblemRig& rig, Forger& forger,
                  const std::vector<const Term*>& nodes) {
    rig.search.set_listener(&forger);
    std::mt19937 rng(seed);
    const auto pick = [&rng](std::size_t n) { return rng() % n; };
    const auto any_literal = [&] {
      const std::size_t source = pick(nodes.size());
      const std::size_t target =
          (source + 1 + pick(nodes.size() - 1)) % nodes.size();
      return rig.literal_of(
          bound(nodes[source], nodes[target], static_cast<int>(pick(9)) - 5),
          true);
    };
    const auto add_clauses = [&](std::size_t count) {
      for (std::size_t k = 0; k < count; ++k) {
        std::vector<Literal> clause;
        if (!rig.problem.selectors().empty()) {
          clause.push_back(~rig.problem.selectors().back());
        }
        for (std::size_t n = pick(3) + 1; n > 0; --n) {
          clause.push_back(any_literal());
        }
        rig.problem.add_clause(clause, {});
      }
    };
    add_clauses(6 + pick(12));
    rig.feed();
    rig.theory.start_check();
    rig.solve();
    const std::size_t num_atoms = rig.num_atoms();
    const int num_variables = rig.problem.num_variables();
    rig.problem.open_scope();
    add_clauses(12 + pick(8));
    std::vector<Literal> assumptions = rig.problem.selectors();
    for (int k = 0; k < 3; ++k) assumptions.push_back(any_literal());
    rig.solve(assumptions);
    rig.close_scope(num_atoms, num_variables);
    add_clauses(6);
    rig.solve();
  }
};

// Proofs are made of what a listener hears; a premise that is missing, or one
// too many, is a proof that no checker takes.
TEST_F(ClauseAuditorTest, SearchDerivesEachClauseFromItsPremises) {
  std::uint64_t num_cycles = 0;
  std::uint64_t num_paths = 0;
  std::uint64_t num_derived = 0;
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    testing::ProblemRig own(store, {seed % 2 == 0 ? 3 : 0, 0.5F, false});
    Forger forger(own.problem, seed);
    std::vector<const Term*> nodes = ints;
    nodes.push_back(nullptr);
    ask(seed, own, forger, nodes);
    EXPECT_EQ(forger.auditor.num_wrong(), 0U);
    num_derived += forger.num_derived;
    num_cycles +=
        forger.num_clauses[static_cast<std::size_t>(ClauseKind::kCycle)];
    num_paths +=
        forger.num_clauses[static_cast<std::size_t>(ClauseKind::kPath)];
  }
  EXPECT_GT(num_derived, 1000U);
  EXPECT_GT(num_cycles, 100U);
  EXPECT_GT(num_paths, 100U);
}

// An auditor that takes anything finds nothing.
TEST_F(ClauseAuditorTest, DerivedWithoutOneOfItsPremisesIsWrong) {
  ClauseNumber num_forged = 0;
  std::uint64_t num_wrong = 0;
  for (unsigned seed = 0; seed < 100; ++seed) {
    testing::ProblemRig own(store);
    Forger forger(own.problem, seed);
    forger.forges = true;
    ask(seed, own, forger, ints);
    num_forged += forger.num_forged;
    num_wrong += forger.auditor.num_wrong();
  }
  EXPECT_GT(num_forged, 100U);
  // A premise less may still refute the clause another way.
  EXPECT_GT(num_wrong, num_forged * 9 / 10);
}

// Each part of the sum counts: direction, weight, and that nothing is left.
TEST_F(ClauseAuditorTest, IsSumOnlyIfBoundsAddUpToLessThanNothing) {
  const AtomTable& atoms = rig.problem.atoms();
  const Literal ab = int_literal(ints[0], ints[1], 2);
  const Literal bc = int_literal(ints[1], ints[2], -3);
  const Literal ca = int_literal(ints[2], ints[0], 0);
  const Literal ca_more = int_literal(ints[2], ints[0], 1);
  const Literal p(rig.problem.new_variable(), false);

  EXPECT_TRUE(ClauseAuditor::is_sum(atoms, {~ab, ~bc, ~ca}));
  EXPECT_TRUE(ClauseAuditor::is_sum(atoms, {~ca, ~ab, ~bc}));
  EXPECT_FALSE(ClauseAuditor::is_sum(atoms, {~ab, ~bc, ~ca_more}));
  EXPECT_FALSE(ClauseAuditor::is_sum(atoms, {~ab, ~bc}));
  EXPECT_FALSE(ClauseAuditor::is_sum(atoms, {~ab, ~bc, ca}));
  EXPECT_FALSE(ClauseAuditor::is_sum(atoms, {~ab, ~bc, ~ca, p}));
  EXPECT_FALSE(ClauseAuditor::is_sum(atoms, {}));
}

}  // namespace
}  // namespace vorn::solver
