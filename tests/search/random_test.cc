// SPDX-License-Identifier: MIT
#include "solver/search/random.h"

#include <gtest/gtest.h>

#include <vector>

namespace vorn::solver {
namespace {

// A failure found with a seed has to be repeatable.
TEST(RandomTest, SameSeedGivesSameNumbers) {
  Random first(7);
  Random second(7);
  Random other(8);

  int different = 0;
  for (int i = 0; i < 100; ++i) {
    const std::uint64_t number = first.next();
    EXPECT_EQ(number, second.next());
    if (number != other.next()) ++different;
  }
  EXPECT_GT(different, 90);
}

// Bounds are used as array positions.
TEST(RandomTest, BelowCoversItsRangeOnly) {
  Random random(0);
  std::vector<int> counts(7, 0);

  for (int i = 0; i < 7000; ++i) {
    const int number = random.below(7);
    ASSERT_GE(number, 0);
    ASSERT_LT(number, 7);
    ++counts[static_cast<std::size_t>(number)];
  }

  for (const int count : counts) {
    EXPECT_GT(count, 800);
    EXPECT_LT(count, 1200);
  }
}

// A fraction of 1 would make a chance of 1 - eps certain to fail at times.
TEST(RandomTest, FractionStaysBelowOne) {
  Random random(3);
  double sum = 0.0;

  for (int i = 0; i < 10000; ++i) {
    const double fraction = random.fraction();
    ASSERT_GE(fraction, 0.0);
    ASSERT_LT(fraction, 1.0);
    sum += fraction;
  }

  EXPECT_NEAR(sum / 10000, 0.5, 0.02);
}

}  // namespace
}  // namespace vorn::solver
