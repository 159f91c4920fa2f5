// SPDX-License-Identifier: MIT
#include "solver/search/restart_policy.h"

#include <gtest/gtest.h>

#include <vector>

namespace vorn::solver {
namespace {

// Luby restarts are only universally good with the right sequence.
TEST(RestartPolicyTest, LubyFollowsItsDefinition) {
  std::vector<std::uint64_t> expected;
  while (expected.size() < 1000) {
    // Twice what there is, then the next power of two.
    const std::vector<std::uint64_t> half = expected;
    expected.insert(expected.end(), half.begin(), half.end());
    expected.push_back(half.size() + 1);
  }

  EXPECT_EQ(luby(1), 1U);
  EXPECT_EQ(luby(3), 2U);
  EXPECT_EQ(luby(7), 4U);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_EQ(luby(i + 1), expected[i]) << i;
  }
}

// Restarts of a stable stretch must come at the unit times the sequence, no
// matter the glue.
TEST(RestartPolicyTest, StableStretchCountsConflicts) {
  SearchOptions options;
  options.restart_unit = 10;
  options.alternation_unit = 1000;
  RestartPolicy policy(options);
  for (int i = 0; i < 1000; ++i) policy.record_conflict(5);
  policy.record_restart();
  ASSERT_TRUE(policy.is_stable());

  for (std::uint64_t i = 1; i <= 20; ++i) {
    for (std::uint64_t k = 0; k < 10 * luby(i); ++k) {
      ASSERT_FALSE(policy.wants_restart());
      policy.record_conflict(static_cast<int>(k % 7));
    }
    ASSERT_TRUE(policy.wants_restart());
    policy.record_restart();
  }
}

// A run of bad clauses has to trigger a restart, a good one must not.
TEST(RestartPolicyTest, FirstStretchReactsToWorseClauses) {
  SearchOptions options;
  options.alternation_unit = 10000;
  RestartPolicy policy(options);

  for (int i = 0; i < 1000; ++i) policy.record_conflict(10);
  EXPECT_FALSE(policy.wants_restart());
  for (int i = 0; i < 30; ++i) policy.record_conflict(5);
  EXPECT_FALSE(policy.wants_restart());
  for (int i = 0; i < 100; ++i) policy.record_conflict(30);
  EXPECT_TRUE(policy.wants_restart());
  policy.record_restart();
  EXPECT_FALSE(policy.wants_restart()) << "too soon again";
}

// The alternation must go on for ever, with both kinds of stretches.
TEST(RestartPolicyTest, StretchesTakeTurns) {
  SearchOptions options;
  options.restart_unit = 8;
  options.alternation_unit = 50;
  RestartPolicy policy(options);
  int switches = 0;
  bool stable = policy.is_stable();

  for (int i = 0; i < 20000; ++i) {
    policy.record_conflict(i % 100 < 50 ? 4 : 12);
    if (policy.wants_restart()) policy.record_restart();
    if (policy.is_stable() != stable) {
      stable = !stable;
      ++switches;
    }
  }

  EXPECT_GE(switches, 4);
}

// A start value of zero must not pull the first averages down.
TEST(MovingAverageTest, FirstSamplesAreAveragedPlainly) {
  MovingAverage average(0.01);

  average.add(4.0);
  EXPECT_DOUBLE_EQ(average.value(), 4.0);
  average.add(8.0);
  EXPECT_DOUBLE_EQ(average.value(), 6.0);
  average.add(3.0);
  EXPECT_DOUBLE_EQ(average.value(), 5.0);
  for (int i = 0; i < 5000; ++i) average.add(2.0);
  EXPECT_NEAR(average.value(), 2.0, 1e-6);
}

}  // namespace
}  // namespace vorn::solver
