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
  bool holds() {
    evaluator.forget();
    return check.holds(assertions, model, evaluator);
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
    for (const Term* symbol : problems.symbols()) {
      model.point.bools[symbol] = false;
      model.point.numbers[symbol] = 0;
    }
    const std::vector<const Term*> symbols = problems.symbols();
    for (int step = 0; step < 300; ++step) {
      const int choice = problems.pick(10);
      if (choice < 2) {
        // What holds, mostly, so that models do.
        const Term* clause = problems.make_clause();
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
      } else {
        const bool expected = std::all_of(
            assertions.begin(), assertions.end(), [&](const Term* assertion) {
              return testing::naive_bool(assertion, model.point);
            });
        ASSERT_EQ(holds(), expected) << "step " << step;
        ++(expected ? num_true : num_false);
        if (!expected) check.clear();
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
