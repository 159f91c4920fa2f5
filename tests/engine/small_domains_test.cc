// SPDX-License-Identifier: MIT
#include "solver/engine/small_domains.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "tests/engine/difference_theory_fixture.h"
#include "tests/engine/problem_rig.h"

namespace vorn::solver {
namespace {

using SmallDomainsTest = testing::DifferenceTheoryFixture;

// What ties values to bounds must be true wherever the variables may be: it is
// added to the problem without being asked for.
TEST_F(SmallDomainsTest, SplitGivesValidClauses) {
  constexpr int kMost = 6;
  std::size_t num_clauses = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    TermStore terms;
    testing::ProblemRig small(terms);
    std::mt19937 rng(seed);
    const auto pick = [&rng](int n) {
      return static_cast<int>(rng() % static_cast<unsigned>(n));
    };
    std::vector<const Term*> nodes = {nullptr};
    for (int i = 1; i <= 3; ++i) {
      nodes.push_back(terms.make_symbol("i" + std::to_string(i), Sort::kInt));
    }
    const auto make_literal = [&](int source, int target, int weight) {
      return small.literal_of(
          bound(nodes[static_cast<std::size_t>(source)],
                nodes[static_cast<std::size_t>(target)], weight),
          true);
    };
    std::vector<Literal> facts;
    for (int i = 1; i <= 3; ++i) {
      // Above zero or above the variable before.
      const int base = pick(3) == 0 ? i - 1 : 0;
      const int low = pick(3) - 1;
      facts.push_back(make_literal(base, i, low + pick(5)));
      facts.push_back(make_literal(i, base, -low));
    }
    for (int k = 0; k < 5; ++k) {
      const int source = pick(4);
      make_literal(source, (source + 1 + pick(3)) % 4, pick(7) - 3);
    }
    small.feed();
    for (const Literal fact : facts) small.search.add_clause({fact});

    SmallDomains(small.problem).split(small.search);
    small.theory.update();

    // Atom v is variable v, its constraints 2v + 1 and 2v + 2; i1 to i3 are
    // nodes in the order in which they were first seen.
    const auto is_true = [&](Literal literal, const std::vector<int>& values) {
      const int constraint =
          2 * literal.variable() + (literal.is_negated() ? 2 : 1);
      const dl::Edge edge = small.theory.graph().get_edge(2 * constraint);
      const int difference = values[static_cast<std::size_t>(edge.target)] -
                             values[static_cast<std::size_t>(edge.source)];
      return QNumber(difference) <= edge.weight.rational();
    };
    std::vector<std::vector<int>> points;
    constexpr int kCount = 2 * kMost + 1;
    for (int n = 0; n < kCount * kCount * kCount; ++n) {
      const std::vector<int> values = {0, n % kCount - kMost,
                                       n / kCount % kCount - kMost,
                                       n / kCount / kCount - kMost};
      if (std::all_of(facts.begin(), facts.end(),
                      [&](Literal fact) { return is_true(fact, values); })) {
        points.push_back(values);
      }
    }
    for (const std::vector<Literal>& clause : small.take_clauses()) {
      ++num_clauses;
      for (const std::vector<int>& values : points) {
        ASSERT_TRUE(std::any_of(
            clause.begin(), clause.end(),
            [&](Literal literal) { return is_true(literal, values); }));
      }
    }
  }
  EXPECT_GT(num_clauses, 200U);
}

// Each check asks for this; a clause given again each time would pile up.
TEST_F(SmallDomainsTest, SplitAgainGivesNothingNew) {
  for (int i = 0; i < 2; ++i) {
    const Term* x = ints[static_cast<std::size_t>(i)];
    search.add_clause({int_literal(nullptr, x, 2)});
    search.add_clause({int_literal(x, nullptr, 0)});
  }
  int_literal(ints[0], ints[1], -1);
  rig.feed();
  SmallDomains domains(rig.problem);
  domains.split(search);
  const std::size_t num_clauses = rig.problem.num_clauses();
  rig.feed();
  EXPECT_GT(rig.problem.num_clauses(), 0U);

  domains.split(search);
  EXPECT_EQ(rig.problem.num_clauses(), num_clauses);
}

}  // namespace
}  // namespace vorn::solver
