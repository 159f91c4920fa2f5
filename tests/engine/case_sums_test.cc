// SPDX-License-Identifier: MIT
#include "solver/engine/case_sums.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term_store.h"
#include "tests/engine/point_values.h"

namespace vorn::solver {
namespace {

class CaseSumsTest : public ::testing::Test {
 protected:
  const Term* condition(std::size_t i) {
    return store.make_symbol("p" + std::to_string(i), Sort::kBool);
  }
  const Term* number(int value) {
    return store.make_number(QNumber(value), Sort::kInt);
  }
  const Term* times(int factor, const Term* term) {
    return store.make_times(number(factor), term);
  }

  CaseSums::Outcome lift(const Term* term, bool strict = false) {
    LinearSum sum;
    EXPECT_TRUE(Lineariser().linearise(term, sum));
    return CaseSums(store, shapes).lift(sum, strict, lifted);
  }

  // How many of n conditions hold.
  const Term* count_of(std::size_t n) {
    std::vector<const Term*> parts;
    for (std::size_t i = 0; i < n; ++i) {
      parts.push_back(store.make_ite(condition(i), number(1), number(0)));
    }
    return store.make_plus(parts);
  }

  static std::size_t size_of(const Term* term) {
    std::unordered_set<const Term*> seen{term};
    std::vector<const Term*> pending{term};
    while (!pending.empty()) {
      const Term* top = pending.back();
      pending.pop_back();
      for (std::size_t i = 0; i < top->num_args; ++i) {
        if (seen.insert(top->arg(i)).second) pending.push_back(top->arg(i));
      }
    }
    return seen.size();
  }

  TermStore store;
  IteShapes shapes;
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
  const Term* lifted = nullptr;
};

// Names for what is no variable would make bounds of other things.
TEST_F(CaseSumsTest, ShapesTellNamesAndRanges) {
  const Term* p = condition(0);
  const Term* q = condition(1);
  const Term* bit = store.make_ite(p, number(1), number(0));
  const Term* nested =
      store.make_ite(q, store.make_plus(bit, times(-3, bit)), number(5));
  const Term* shifted = store.make_ite(q, store.make_plus(x, number(2)), bit);
  const Term* doubled = store.make_ite(q, times(2, x), bit);

  EXPECT_TRUE(shapes.is_nameable(bit));
  EXPECT_TRUE(shapes.is_nameable(shifted));
  EXPECT_FALSE(shapes.is_nameable(doubled));
  EXPECT_FALSE(shapes.is_nameable(nested));
  ASSERT_NE(shapes.range_of(nested), nullptr);
  EXPECT_EQ(shapes.range_of(nested)->low, QNumber(-2));
  EXPECT_EQ(shapes.range_of(nested)->high, QNumber(5));
  EXPECT_EQ(shapes.range_of(shifted), nullptr);
  EXPECT_EQ(shapes.range_of(store.make_ite(p, nested, shifted)), nullptr);
}

// A count that doubled with each condition could not be asserted at all.
TEST_F(CaseSumsTest, LiftOfCountTakesATermForEachSum) {
  for (const std::size_t n : {1U, 10U, 100U, 300U}) {
    const Term* count = count_of(n);
    const Term* few = store.make_plus({count, number(-3)});
    ASSERT_EQ(lift(few), CaseSums::Outcome::kLifted);
    EXPECT_LE(size_of(lifted), 6 * n + 2);
    const auto half = static_cast<int>(n / 2);
    ASSERT_EQ(lift(store.make_plus({count, number(-half)})),
              CaseSums::Outcome::kLifted);
    EXPECT_LE(size_of(lifted), n * n / 4 + 3 * n + 2);
    // A variable keeps all of them apart.
    ASSERT_EQ(lift(store.make_plus({count, times(-1, x)})),
              CaseSums::Outcome::kLifted);
    EXPECT_LE(size_of(lifted), n * (n + 1) / 2 + 6 * n + 9);
  }
}

// As many numbers as there may be, two conditions make four cases.
TEST_F(CaseSumsTest, LiftOfRepeatedConditionsMergesThem) {
  std::vector<const Term*> parts{x};
  for (int i = 0; i < 60; ++i) {
    parts.push_back(store.make_ite(condition(static_cast<std::size_t>(i % 2)),
                                   number(i * i * i), number(-i)));
  }
  ASSERT_EQ(lift(store.make_plus(parts)), CaseSums::Outcome::kLifted);
  EXPECT_LT(size_of(lifted), 25U);
}

// What is decided before the last case needs no more conditions.
TEST_F(CaseSumsTest, LiftOfDecidedSumIsAConstant) {
  const Term* count = count_of(1000);
  ASSERT_EQ(lift(store.make_plus({count, number(-1000)})),
            CaseSums::Outcome::kLifted);
  EXPECT_EQ(lifted, store.make_bool(true));
  ASSERT_EQ(lift(store.make_plus({count, number(-1000)}), true),
            CaseSums::Outcome::kLifted);
  // The conditions, an ite for each, and the constants.
  EXPECT_EQ(size_of(lifted), 2002U);
  ASSERT_EQ(lift(store.make_plus({count, number(1)})),
            CaseSums::Outcome::kLifted);
  EXPECT_EQ(lifted, store.make_bool(false));
}

// Past the most sums it is steps, or a refusal; never a wrong atom.
TEST_F(CaseSumsTest, LiftOfTooManySumsTakesStepsOrSaysSo) {
  constexpr std::size_t kCases = 40;
  std::vector<const Term*> numbers;
  std::vector<const Term*> variables;
  testing::Point point;
  std::mt19937_64 rng(3);
  for (std::size_t i = 0; i < kCases; ++i) {
    const auto weight = static_cast<int>(rng() % 1000000);
    numbers.push_back(store.make_ite(condition(i), number(weight), number(-1)));
    variables.push_back(store.make_ite(
        condition(i), store.make_plus({x, number(weight)}), number(0)));
  }
  numbers.push_back(x);
  numbers.push_back(times(-1, y));
  numbers.push_back(number(-5000000));
  const Term* sum = store.make_plus(numbers);
  ASSERT_EQ(lift(sum), CaseSums::Outcome::kLifted);
  EXPECT_LT(size_of(lifted), 10 * kCases);
  AtomNormaliser normaliser(store);
  EXPECT_EQ(normaliser.normalise(lifted).term, lifted);
  const Term* atom = store.make_leq(sum, number(0));
  int num_true = 0;
  for (int round = 0; round < 100; ++round) {
    for (std::size_t i = 0; i < kCases; ++i) {
      point.bools[condition(i)] = rng() % 2 == 0;
    }
    point.numbers[x] = static_cast<int>(rng() % 20000000) - 10000000;
    point.numbers[y] = 3;
    ASSERT_EQ(testing::holds_at(point, lifted), testing::holds_at(point, atom));
    num_true += testing::holds_at(point, atom) ? 1 : 0;
  }
  EXPECT_GT(num_true, 10);
  EXPECT_LT(num_true, 90);

  EXPECT_EQ(lift(store.make_plus(variables)), CaseSums::Outcome::kTooMany);
  variables.push_back(times(2, y));
  EXPECT_EQ(lift(store.make_plus(variables)), CaseSums::Outcome::kOutside);
}

// Sums of ites within ites, in each case against their values.
TEST_F(CaseSumsTest, LiftKeepsTheMeaningOfRandomSums) {
  constexpr std::size_t kConditions = 6;
  std::mt19937_64 rng(11);
  const auto pick = [&rng](int bound) {
    return static_cast<int>(rng() % static_cast<std::uint64_t>(bound));
  };
  const auto any = [&] {
    return condition(static_cast<std::size_t>(pick(kConditions)));
  };
  int num_lifted = 0;
  int num_outside = 0;
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE(round);
    std::vector<const Term*> terms{number(0), number(1), number(2)};
    if (pick(3) == 0) terms.push_back(x);
    if (pick(3) == 0) terms.push_back(store.make_plus({x, times(-1, y)}));
    for (int i = 0; i < 8; ++i) {
      const auto one = [&] {
        return terms[static_cast<std::size_t>(
            pick(static_cast<int>(terms.size())))];
      };
      const Term* sum =
          pick(2) == 0 ? one() : store.make_plus({one(), times(2, one())});
      terms.push_back(store.make_ite(any(), one(), sum));
    }
    std::vector<const Term*> parts;
    for (int i = 0; i < 5; ++i) {
      parts.push_back(times(
          pick(7) - 3, terms[terms.size() - 1 - static_cast<std::size_t>(i)]));
    }
    if (pick(2) == 0) parts.push_back(x);
    parts.push_back(number(pick(9) - 4));
    const Term* sum = store.make_plus(parts);
    const bool strict = pick(2) == 0;
    const auto outcome = lift(sum, strict);
    if (outcome != CaseSums::Outcome::kLifted) {
      ASSERT_EQ(outcome, CaseSums::Outcome::kOutside);
      ++num_outside;
      continue;
    }
    ++num_lifted;
    const Term* atom = strict ? store.make_less(sum, number(0))
                              : store.make_leq(sum, number(0));
    for (unsigned bits = 0; bits < 1U << kConditions; ++bits) {
      testing::Point point;
      for (std::size_t i = 0; i < kConditions; ++i) {
        point.bools[condition(i)] = (bits >> i) % 2 == 1;
      }
      point.numbers = {{x, pick(9) - 4}, {y, pick(9) - 4}};
      ASSERT_EQ(testing::holds_at(point, lifted),
                testing::holds_at(point, atom));
    }
  }
  EXPECT_GT(num_lifted, 100);
  EXPECT_GT(num_outside, 50);
}

}  // namespace
}  // namespace vorn::solver
