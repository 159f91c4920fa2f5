// SPDX-License-Identifier: MIT
#include "solver/scheduling/one_machine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#include "solver/scheduling/time.h"
#include "tests/scheduling/task_orders.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {
namespace {

using testing::KnownTask;
using testing::Random;
using testing::scaled;
using testing::some_order_fits;

WordTime to_time(int time, WordTime /*kind*/) {
  return time;
}
ExactTime to_time(int time, const ExactTime& /*kind*/) {
  // Of five words in a row some differ in eps alone.
  return testing::exact_time(4096 * (time / 3) + time % 3, 4096);
}

// Random tasks told to both, with no time, one or both, and told twice at
// times.
template <class T>
void compare_with_all_orders(unsigned seed, int cases) {
  Random random(seed);
  int num_feasible = 0;
  int num_infeasible = 0;
  for (int k = 0; k < cases; ++k) {
    OneMachine<T> machine;
    const auto n = static_cast<std::size_t>(random.between(0, 6));
    std::vector<KnownTask<T>> known(n);
    // Names need not be in a row, nor told in order.
    const auto name = [n](std::size_t a) { return 3 * (n - a) + 1; };
    const int horizon = random.between(4, 18);
    const auto time = [&](int units) { return to_time(units, T()); };
    for (std::size_t a = 0; a < n; ++a) {
      KnownTask<T>& task = known[a];
      task.duration = time(random.between(1, 5));
      machine.add(name(a), task.duration);
    }
    const int facts = random.pick(4 * static_cast<int>(n) + 1);
    for (int f = 0; f < facts; ++f) {
      const auto a = static_cast<std::size_t>(random.pick(static_cast<int>(n)));
      KnownTask<T>& task = known[a];
      const T t = time(random.pick(horizon));
      switch (random.pick(n > 1 ? 4 : 3)) {
        case 0:
          machine.start_from(name(a), t, task.duration);
          if (!task.start || *task.start < t) task.start = t;
          break;
        case 1: {
          const T end = t + task.duration;
          machine.end_by(name(a), end, task.duration);
          if (!task.end || end < *task.end) {
            task.end = end;
            task.is_strict = false;
          }
          break;
        }
        case 2: {
          const T end = t + task.duration;
          machine.end_before(name(a), end);
          if (!task.end || end < *task.end) task.end = end;
          if (!(*task.end < end)) task.is_strict = true;
          break;
        }
        default: {
          // Rarely against other orders, so that these form a circle.
          auto b = static_cast<std::size_t>(random.pick(static_cast<int>(n)));
          if (a == b) break;
          auto first = std::min(a, b);
          auto last = std::max(a, b);
          if (random.pick(12) == 0) std::swap(first, last);
          machine.set_before(name(first), name(last));
          known[last].after |= 1U << first;
          break;
        }
      }
    }
    ASSERT_EQ(machine.size(), n);
    const bool expected = some_order_fits(known);
    ++(expected ? num_feasible : num_infeasible);
    ASSERT_EQ(machine.is_feasible(), expected) << "case " << k;
  }
  EXPECT_GT(num_feasible, cases / 10);
  EXPECT_GT(num_infeasible, cases / 10);
}

// Builds with assertions ask this about every finding: a wrong yes ends them
// for no reason, and a wrong no passes over wrong findings.
TEST(OneMachineTest, IsFeasibleAgreesWithAllOrdersInWords) {
  compare_with_all_orders<WordTime>(1, scaled(60'000));
}

// The same for numbers that are no words.
TEST(OneMachineTest, IsFeasibleAgreesWithAllOrdersInExactTimes) {
  compare_with_all_orders<ExactTime>(2, scaled(10'000));
}

// Facts about a task come from several sides; a task that is told again must
// keep what was known.
TEST(OneMachineTest, AddingAKnownTaskKeepsWhatIsKnown) {
  OneMachine<WordTime> machine;
  machine.start_from(4, 10, 3);
  machine.end_by(4, 13, 3);
  EXPECT_TRUE(machine.is_feasible());
  machine.add(4, 3);
  machine.start_from(4, 2, 3);
  machine.end_by(4, 20, 3);
  EXPECT_EQ(machine.size(), 1U);
  EXPECT_TRUE(machine.is_feasible());
  machine.end_before(4, 13);
  EXPECT_FALSE(machine.is_feasible());
}

}  // namespace
}  // namespace vorn::solver
