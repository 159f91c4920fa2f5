// SPDX-License-Identifier: MIT
#include "solver/engine/local_search.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/terms/term_store.h"
#include "tests/engine/statistic.h"

namespace vorn::solver {
namespace {

/// Random clauses of bounds between integers and of other variables, true for
/// hidden values.
class Planted {
 public:
  explicit Planted(std::uint64_t seed) : random_(seed) {
    for (int node = 1; node < kNodes; ++node) {
      numbers_.push_back(random_.below(21) - 10);
    }
    for (int atom = 0; atom < kAtoms; ++atom) {
      const int source = random_.below(kNodes);
      const int target = (source + 1 + random_.below(kNodes - 1)) % kNodes;
      bounds_.push_back({source, target, random_.below(21) - 10});
    }
    for (int variable = kAtoms; variable < kVariables; ++variable) {
      values_.push_back(random_.below(2) != 0);
    }
    while (clauses_.size() < 60) {
      std::vector<Literal> clause;
      while (clause.size() < 3) {
        clause.emplace_back(random_.below(kVariables), random_.below(2) != 0);
      }
      if (is_planted(clause)) clauses_.push_back(clause);
    }
  }

  LocalSearch start() const {
    LocalSearch local(kNodes, kVariables);
    for (int atom = 0; atom < kAtoms; ++atom) {
      const LocalSearch::Bound& yes = bounds_[static_cast<std::size_t>(atom)];
      local.add_atom(atom, yes, {yes.target, yes.source, -yes.weight - 1});
    }
    for (int node = 1; node < kNodes; ++node) {
      local.add_fact({0, node, 10});
      local.add_fact({node, 0, 10});
    }
    for (const auto& clause : clauses_) local.add_clause(clause);
    return local;
  }

  /// How many clauses have no true literal.
  std::size_t num_left(const LocalSearch& local) const {
    std::size_t left = 0;
    for (const auto& clause : clauses_) {
      bool holds = false;
      for (const Literal l : clause) {
        holds = holds || local.is_true(l.variable()) != l.is_negated();
      }
      if (!holds) ++left;
    }
    return left;
  }

  /// Whether there are numbers from -10 to 10 for which each atom is as the
  /// search says: no cycle is negative.
  bool has_numbers(const LocalSearch& local) const {
    std::vector<LocalSearch::Bound> edges;
    for (int node = 1; node < kNodes; ++node) {
      edges.push_back({0, node, 10});
      edges.push_back({node, 0, 10});
    }
    for (int atom = 0; atom < kAtoms; ++atom) {
      const LocalSearch::Bound& yes = bounds_[static_cast<std::size_t>(atom)];
      const LocalSearch::Bound no{yes.target, yes.source, -yes.weight - 1};
      edges.push_back(local.is_true(atom) ? yes : no);
    }
    std::vector<Word> reach(kNodes, 0);
    for (int round = 0; round < kNodes; ++round) {
      for (const LocalSearch::Bound& e : edges) {
        Word& target = reach[static_cast<std::size_t>(e.target)];
        const Word way = reach[static_cast<std::size_t>(e.source)] + e.weight;
        if (way >= target) continue;
        if (round == kNodes - 1) return false;
        target = way;
      }
    }
    return true;
  }

 private:
  using Word = LocalSearch::Word;

  static constexpr int kNodes = 6;
  static constexpr int kAtoms = 24;
  static constexpr int kVariables = kAtoms + 4;

  bool is_planted(const std::vector<Literal>& clause) const {
    for (const Literal l : clause) {
      if (holds(l.variable()) != l.is_negated()) return true;
    }
    return false;
  }
  bool holds(int variable) const {
    if (variable >= kAtoms) {
      return values_[static_cast<std::size_t>(variable - kAtoms)];
    }
    const auto number = [this](int node) {
      return node == 0 ? 0 : numbers_[static_cast<std::size_t>(node - 1)];
    };
    const LocalSearch::Bound& b = bounds_[static_cast<std::size_t>(variable)];
    return number(b.target) - number(b.source) <= b.weight;
  }

  Random random_;
  std::vector<Word> numbers_;
  std::vector<bool> values_;
  std::vector<LocalSearch::Bound> bounds_;
  std::vector<std::vector<Literal>> clauses_;
};

// What it claims must be so, and be of numbers, or the search would take its
// phases only to meet conflicts.
TEST(LocalSearchTest, FindsWhatHoldsForNumbers) {
  std::size_t found = 0;
  constexpr std::uint64_t kProblems = 300;
  for (std::uint64_t seed = 0; seed < kProblems; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Planted planted(seed);
    LocalSearch local = planted.start();
    Random random(seed);
    if (local.run(300'000, random) > 0) continue;
    ++found;
    EXPECT_EQ(planted.num_left(local), 0U);
    EXPECT_TRUE(planted.has_numbers(local));
  }
  EXPECT_GT(found, kProblems * 9 / 10);
}

// Steps bound the time of a run, which nothing can interrupt.
TEST(LocalSearchTest, EndsWhereNothingHolds) {
  LocalSearch local(3, 2);
  local.add_atom(0, {1, 2, -1}, {2, 1, 0});
  local.add_atom(1, {2, 1, -1}, {1, 2, 0});
  for (const bool a : {false, true}) {
    for (const bool b : {false, true}) {
      local.add_clause({Literal(0, a), Literal(1, b)});
    }
  }
  Random random(1);

  EXPECT_GE(local.run(100'000, random), 1U);

  EXPECT_LT(local.num_steps(), 110'000U);
  EXPECT_GT(local.num_moves(), 100U);
}

// Distances that hidden values respect: by itself the search meets 50,000
// conflicts and more, with the phases found some hundreds.
TEST(LocalSearchTest, EnginesTakeOverPhases) {
  TermStore store;
  Engine engine(store);
  Random random(7);
  constexpr int kNumbers = 200;
  std::vector<const Term*> xs;
  std::vector<int> hidden;
  for (int i = 0; i < kNumbers; ++i) {
    xs.push_back(store.make_symbol("x" + std::to_string(i), Sort::kReal));
    hidden.push_back(random.below(201) - 100);
  }
  const auto draw = [&](bool& holds) {
    const auto x = static_cast<std::size_t>(random.below(kNumbers));
    const auto y = static_cast<std::size_t>(random.below(kNumbers));
    const int limit = random.below(201) - 100;
    holds = holds || hidden[x] - hidden[y] <= limit;
    return store.make_leq(
        xs[x],
        store.make_plus(xs[y], store.make_number(QNumber(limit), Sort::kReal)));
  };
  for (int clauses = 0; clauses < 7 * kNumbers;) {
    bool holds = false;
    const Term* a = draw(holds);
    const Term* b = draw(holds);
    if (!holds) continue;
    engine.assert_term(store.make_or({a, b}));
    ++clauses;
  }

  ASSERT_EQ(engine.check(), Answer::kSat);

  EXPECT_GE(statistic(engine, "local searches"), 1U);
  EXPECT_LT(statistic(engine, "conflicts"), 2000U);
}

}  // namespace
}  // namespace vorn::solver
