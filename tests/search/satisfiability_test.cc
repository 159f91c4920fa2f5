// SPDX-License-Identifier: MIT
// Search as a plain satisfiability solver, against an independent one.
#include <gtest/gtest.h>

#include <vector>

#include "solver/search/search.h"
#include "tests/search/oracle.h"

namespace vorn::solver::testing {
namespace {

void check(const Clauses& clauses, int variables,
           const SearchOptions& options = {}) {
  Search search(nullptr, options);
  make_variables(search, variables);
  add_clauses(search, clauses);
  expect_right_answer(search, clauses);
}

// Small instances reach every corner of propagation and analysis.
TEST(SatisfiabilityTest, SmallRandomInstancesAgree) {
  for (int seed = 0; seed < scaled(4000); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    const int variables = 20 + random.below(40);
    const double ratio = 3.7 + random.fraction();
    const SearchOptions options = random_options(random);
    check(random_3_sat(random, variables, ratio), variables, options);
    if (HasFatalFailure()) return;
  }
}

// Mixed lengths: units, binary and long clauses with repeated literals.
TEST(SatisfiabilityTest, MixedRandomInstancesAgree) {
  for (int seed = 0; seed < scaled(4000); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    const int variables = 3 + random.below(30);
    const SearchOptions options = random_options(random);
    Clauses clauses;
    const int count = variables * (2 + random.below(3));
    for (int i = 0; i < count; ++i) {
      int size = 2 + random.below(4);
      if (random.below(40) == 0) size = 1;
      std::vector<Literal> clause;
      for (int k = 0; k < size; ++k) {
        clause.emplace_back(random.below(variables), random.below(2) == 0);
      }
      clauses.push_back(clause);
    }
    check(clauses, variables, options);
    if (HasFatalFailure()) return;
  }
}

// Enough conflicts for reductions and garbage collections with the defaults.
TEST(SatisfiabilityTest, LargerRandomInstancesAgree) {
  for (int seed = 0; seed < scaled(150); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    const int variables = 100 + random.below(51);
    const double ratio = 4.1 + 0.3 * random.fraction();
    const SearchOptions options =
        seed % 2 == 0 ? SearchOptions() : random_options(random);
    check(random_3_sat(random, variables, ratio), variables, options);
    if (HasFatalFailure()) return;
  }
}

// Needs long resolution proofs, and has a model as soon as there is room.
TEST(SatisfiabilityTest, PigeonholeAgrees) {
  const int largest = kSlowdown > 1 ? 7 : 8;
  for (int holes = 1; holes <= largest; ++holes) {
    check(pigeonhole(holes + 1, holes), (holes + 1) * holes);
    check(pigeonhole(holes, holes), holes * holes);
  }
}

// Chains of exclusive or: long implications, hardly any short clause.
TEST(SatisfiabilityTest, ParityChainsAgree) {
  for (int seed = 0; seed < scaled(60); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    const int variables = 10 + random.below(50);
    Clauses clauses;
    const int equations = variables - 4 + random.below(8);
    for (int i = 0; i < equations; ++i) {
      const std::vector<Literal> base = random_clause(random, variables, 3);
      const bool odd = random.below(2) == 0;
      for (int bits = 0; bits < 8; ++bits) {
        // Excludes each assignment of the wrong parity.
        const int parity = (bits ^ (bits >> 1) ^ (bits >> 2)) & 1;
        if ((parity == 1) == odd) continue;
        std::vector<Literal> clause;
        for (int k = 0; k < 3; ++k) {
          const bool bit = ((bits >> k) & 1) != 0;
          clause.emplace_back(base[static_cast<std::size_t>(k)].variable(),
                              bit);
        }
        clauses.push_back(clause);
      }
    }
    check(clauses, variables);
    if (HasFatalFailure()) return;
  }
}

// Many binary clauses and much symmetry.
TEST(SatisfiabilityTest, GraphColouringAgrees) {
  for (int seed = 0; seed < scaled(100); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    const int nodes = 15 + random.below(30);
    const int colours = 3 + random.below(2);
    const double degree = colours == 3 ? 4.6 : 8.5;
    Clauses clauses;
    for (int node = 0; node < nodes; ++node) {
      std::vector<Literal> some;
      for (int colour = 0; colour < colours; ++colour) {
        some.push_back(positive(node * colours + colour));
      }
      clauses.push_back(some);
    }
    const int edges = static_cast<int>(nodes * degree / 2);
    for (int i = 0; i < edges; ++i) {
      const int a = random.below(nodes);
      const int b = random.below(nodes);
      if (a == b) continue;
      for (int colour = 0; colour < colours; ++colour) {
        clauses.push_back(
            {negative(a * colours + colour), negative(b * colours + colour)});
      }
    }
    check(clauses, nodes * colours, random_options(random));
    if (HasFatalFailure()) return;
  }
}

// An implication chain of this length overflows the stack of any recursion.
TEST(SatisfiabilityTest, LongImplicationChainNeedsNoRecursion) {
  constexpr int kLength = 200000;
  Search search;
  make_variables(search, kLength + 1);
  // The chain of pairs keeps minimisation from stopping early.
  for (int i = 0; i < kLength; ++i) {
    search.add_clause({negative(i), positive(i + 1)});
  }
  const int extra = search.new_variable();
  search.add_clause({negative(kLength), positive(extra)});
  search.add_clause({negative(kLength), negative(extra)});

  EXPECT_EQ(search.solve({positive(0)}), Search::Result::kUnsat);
  EXPECT_EQ(search.failed_assumptions(), std::vector<Literal>{positive(0)});
  EXPECT_EQ(search.solve(), Search::Result::kSat);
}

// Minimisation follows reasons for as long as the chain is.
TEST(SatisfiabilityTest, LongMinimisationNeedsNoRecursion) {
  constexpr int kLength = 100000;
  Search search;
  make_variables(search, kLength + 3);
  const Literal first = positive(0);
  for (int i = 0; i < kLength; ++i) {
    search.add_clause({negative(i), positive(i + 1)});
  }
  // At level 2, a conflict that names both ends of the chain of level 1.
  const Literal last = positive(kLength);
  const Literal a = positive(kLength + 1);
  const Literal b = positive(kLength + 2);
  search.add_clause({~first, ~last, ~a, b});
  search.add_clause({~first, ~last, ~a, ~b});

  EXPECT_EQ(search.solve({first, a}), Search::Result::kUnsat);
  EXPECT_GE(search.statistics().minimised_literals, 1U);
  EXPECT_EQ(search.failed_assumptions().size(), 2U);
  expect_core(search, {{~first, ~a}}, {first, a});
}

}  // namespace
}  // namespace vorn::solver::testing
