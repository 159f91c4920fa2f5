// SPDX-License-Identifier: MIT
#include "solver/engine/model_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "solver/terms/evaluator.h"
#include "solver/terms/term_store.h"
#include "tests/build_kind.h"
#include "tests/engine/random_problems.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

// A model that changes.
class ChangingPoint final : public Interpretation {
 public:
  bool bool_value(const Term* symbol) override {
    return point.bools.at(symbol);
  }
  QNumber number_value(const Term* symbol) override {
    return testing::to_q(point.numbers.at(symbol));
  }

  testing::Point point;
};

class ModelCheckTest : public ::testing::Test {
 protected:
  bool holds(const std::vector<const Term*>* changed = nullptr) {
    evaluator.forget();
    return check.holds(assertions, model, evaluator, changed);
  }
  std::uint64_t num_evaluated_by_next() {
    const std::uint64_t before = check.num_evaluated();
    EXPECT_TRUE(holds());
    return check.num_evaluated() - before;
  }

  TermStore store;
  ChangingPoint model;
  Evaluator evaluator{model};
  ModelCheck check;
  std::vector<const Term*> assertions;
};

// The last guard before a wrong `sat`: it must see what an evaluation of
// everything sees, whatever changed.
TEST_F(ModelCheckTest, HoldsAgreesWithEvaluationOfEverything) {
  int num_true = 0;
  int num_false = 0;
  const unsigned seeds = test::kSanitized ? 20 : 100;
  for (unsigned seed = 0; seed < seeds; ++seed) {
    SCOPED_TRACE(seed);
    testing::RandomProblems problems(store, seed, 4, seed % 2 == 1);
    check.clear();
    assertions.clear();
    std::vector<std::size_t> levels;
    std::vector<const Term*> changed;
    for (const Term* symbol : problems.symbols()) {
      model.point.bools[symbol] = false;
      model.point.numbers[symbol] = 0;
      changed.push_back(symbol);
    }
    const std::vector<const Term*> symbols = problems.symbols();
    for (int step = 0; step < 300; ++step) {
      const int choice = problems.pick(10);
      if (choice < 2) {
        // What holds, mostly, so that models do.
        const Term* clause =
            seed % 3 == 0 ? problems.make_literal() : problems.make_clause();
        if (problems.pick(4) == 0) {
          clause = store.make_and({clause, problems.make_clause(), clause});
        }
        if (testing::naive_bool(clause, model.point) || problems.pick(9) == 0) {
          assertions.push_back(clause);
        }
      } else if (choice == 2) {
        levels.push_back(assertions.size());
      } else if (choice == 3 && !levels.empty()) {
        assertions.resize(levels.back());
        levels.pop_back();
        check.rollback(assertions.size());
      } else if (choice < 6) {
        const auto k = static_cast<std::size_t>(
            problems.pick(static_cast<int>(symbols.size())));
        model.point.bools[symbols[k]] = problems.pick(2) == 0;
        model.point.numbers[symbols[k]] = problems.pick(5) - 2;
        changed.push_back(symbols[k]);
      } else {
        const bool expected = std::all_of(
            assertions.begin(), assertions.end(), [&](const Term* assertion) {
              return testing::naive_bool(assertion, model.point);
            });
        // Half of the models say what may be new in them.
        ASSERT_EQ(holds(problems.pick(2) == 0 ? &changed : nullptr), expected)
            << "step " << step;
        ++(expected ? num_true : num_false);
        if (!expected) check.clear();
        changed.clear();
      }
    }
  }
  EXPECT_GT(num_true, 1000 * static_cast<int>(seeds) / 100);
  EXPECT_GT(num_false, 1000 * static_cast<int>(seeds) / 100);
}

// That is what it is for: a round costs what the round is about.
TEST_F(ModelCheckTest, HoldsEvaluatesOnlyWhatMayHaveChanged) {
  constexpr int kCount = 100;
  std::vector<const Term*> x;
  std::vector<const Term*> conjuncts;
  for (int i = 0; i <= kCount; ++i) {
    x.push_back(store.make_symbol("x" + std::to_string(i), Sort::kInt));
    model.point.numbers[x.back()] = i;
    if (i == 0) continue;
    const Term* less = store.make_less(x[static_cast<std::size_t>(i) - 1],
                                       x[static_cast<std::size_t>(i)]);
    (i % 2 == 0 ? conjuncts : assertions).push_back(less);
  }
  assertions.push_back(store.make_and(conjuncts));
  EXPECT_EQ(num_evaluated_by_next(), assertions.size());
  EXPECT_EQ(num_evaluated_by_next(), assertions.size());
  EXPECT_EQ(num_evaluated_by_next(), 0U);

  // Both neighbours.
  model.point.numbers[x[kCount]] = kCount + 5;
  EXPECT_EQ(num_evaluated_by_next(), 1U);
  model.point.numbers[x[kCount - 1]] = kCount + 2;
  EXPECT_EQ(num_evaluated_by_next(), 2U);

  // A round's own assertions, and nothing else.
  for (int round = 0; round < 3; ++round) {
    const std::size_t before = assertions.size();
    assertions.push_back(store.make_less(x[0], x[2]));
    EXPECT_EQ(num_evaluated_by_next(), 1U);
    assertions.pop_back();
    check.rollback(before);
  }
  EXPECT_EQ(num_evaluated_by_next(), 0U);
}

// Levels that say ever more of the same two symbols: each check looks at the
// bound that says most, and on the way back at the one that did before.
TEST_F(ModelCheckTest, HoldsEvaluatesTheClosestBoundOnTwoSymbols) {
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
  const auto number = [&](int value) {
    return store.make_number(QNumber(value));
  };
  model.point.numbers[x] = 0;
  model.point.numbers[y] = 0;
  constexpr int kLevels = 60;
  for (int level = 0; level < kLevels; ++level) {
    // x - y > level, in several ways, and now and then less than that.
    const Term* limit = store.make_plus(y, number(level));
    assertions.push_back(level % 3 == 0
                             ? store.make_less(limit, x)
                             : store.make_not(store.make_leq(x, limit)));
    if (level % 5 == 0) {
      assertions.push_back(
          store.make_leq(number(-3), store.make_plus(x, store.make_negate(y))));
    }
    model.point.numbers[x] = level + 1;
    EXPECT_LE(num_evaluated_by_next(), 5U);
  }
  EXPECT_LE(num_evaluated_by_next(), 2U);
  EXPECT_EQ(num_evaluated_by_next(), 0U);
  model.point.numbers[x] = kLevels - 1;
  EXPECT_FALSE(holds());
  check.clear();
  model.point.numbers[x] = kLevels;
  for (int k = 0; k < 3; ++k) EXPECT_TRUE(holds());

  while (assertions.size() > 12) {
    assertions.pop_back();
    check.rollback(assertions.size());
    if (assertions.size() % 8 == 0) {
      EXPECT_LE(num_evaluated_by_next(), 1U);
    }
  }
  // Ten levels and two of the others: x - y > 9.
  model.point.numbers[x] = 10;
  EXPECT_EQ(num_evaluated_by_next(), 1U);
  model.point.numbers[x] = 9;
  EXPECT_FALSE(holds());
}

// Lists of symbols for what mentions all of them would take memory without
// bound; those assertions are evaluated each time.
TEST_F(ModelCheckTest, HoldsEvaluatesLargeConjunctsEachTime) {
  std::vector<const Term*> disjuncts;
  const Term* zero = store.make_number(QNumber(0));
  for (int i = 0; i < 1000; ++i) {
    const Term* x = store.make_symbol("x" + std::to_string(i), Sort::kInt);
    model.point.numbers[x] = i;
    disjuncts.push_back(store.make_less(x, zero));
  }
  const Term* last = disjuncts.back()->arg(0);
  model.point.numbers[last] = -1;
  assertions.push_back(store.make_or(disjuncts));
  for (int round = 0; round < 4; ++round) {
    EXPECT_EQ(num_evaluated_by_next(), 1U);
  }
  model.point.numbers[last] = 0;
  EXPECT_FALSE(holds());
}

}  // namespace
}  // namespace vorn::solver
