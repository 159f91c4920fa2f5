// SPDX-License-Identifier: MIT
#include "solver/scheduling/machine_span.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <random>
#include <vector>

namespace vorn::solver {
namespace {

// Of a set of tasks none starts before the least head, and after the last one
// comes at least the least of what comes after them. The set for which that is
// most decides.
std::optional<int> most_of_all_sets(const std::vector<SpanTask<int>>& tasks) {
  std::optional<int> most;
  for (std::size_t set = 1; set < std::size_t{1} << tasks.size(); ++set) {
    std::optional<int> head;
    std::optional<int> after;
    int sum = 0;
    for (std::size_t k = 0; k < tasks.size(); ++k) {
      if ((set >> k & 1U) == 0) continue;
      const SpanTask<int>& task = tasks[k];
      head = std::min(head.value_or(task.head), task.head);
      const int rest = task.tail - task.duration;
      after = std::min(after.value_or(rest), rest);
      sum += task.duration;
    }
    most = std::max(most.value_or(*head + sum + *after), *head + sum + *after);
  }
  return most;
}

// Too much would be refuted in vain, too little is a worse place to begin.
TEST(MachineSpanTest, LeastEndIsThatOfTheWorstSet) {
  std::mt19937 random(5);
  for (int round = 0; round < 2000; ++round) {
    std::vector<SpanTask<int>> tasks(random() % 8);
    for (SpanTask<int>& task : tasks) {
      task.head = static_cast<int>(random() % 30) - 10;
      task.duration = 1 + static_cast<int>(random() % 12);
      // Also less than the task takes, where not all of it counts.
      task.tail = static_cast<int>(random() % 30) - 5;
    }
    EXPECT_EQ(least_end(tasks), most_of_all_sets(tasks)) << "round " << round;
  }
}

}  // namespace
}  // namespace vorn::solver
