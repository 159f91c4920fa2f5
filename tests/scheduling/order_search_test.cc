// SPDX-License-Identifier: MIT
#include "solver/scheduling/order_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

#include "solver/search/random.h"
#include "vorn/containers/index.h"

namespace vorn::solver {
namespace {

using Word = OrderSearch::Word;

/// Tasks on machines; some may be done by either of two.
struct Tasks {
  struct Lag {
    int before;
    int after;
    Word time;
  };
  std::vector<Word> releases;
  std::vector<Word> deadlines;
  std::vector<Lag> lags;
  /// By task: the machine, or 2 for either; how long on each.
  std::vector<int> machines;
  std::vector<std::vector<Word>> durations;

  explicit Tasks(Random& random) {
    const int num_tasks = 3 + random.below(3);
    for (int task = 0; task < num_tasks; ++task) {
      releases.push_back(random.below(8));
      deadlines.push_back(random.below(20));
      machines.push_back(random.below(3));
      durations.push_back({1 + random.below(6), 1 + random.below(6)});
      if (task > 0 && random.below(2) == 0) {
        lags.push_back({random.below(task), task, random.below(6)});
      }
    }
  }

  int size() const { return static_cast<int>(releases.size()); }

  /// How late the most late task is at least, if tasks start in this order
  /// where they share a machine.
  Word lateness(const std::vector<int>& order,
                const std::vector<int>& places) const {
    std::vector<Word> starts = releases;
    for (int round = 0; round <= size(); ++round) {
      for (const Lag& lag : lags) {
        starts[index(lag.after)] = std::max(
            starts[index(lag.after)], starts[index(lag.before)] + lag.time);
      }
      std::vector<Word> free_at(2, 0);
      for (const int task : order) {
        const std::size_t machine = index(places[index(task)]);
        starts[index(task)] = std::max(starts[index(task)], free_at[machine]);
        free_at[machine] =
            starts[index(task)] + durations[index(task)][machine];
      }
    }
    Word late = -OrderSearch::kFar;
    for (std::size_t task = 0; task < starts.size(); ++task) {
      late = std::max(late, starts[task] - deadlines[task]);
    }
    return late;
  }
  /// The least of all orders that lags allow, and all ways to place tasks.
  Word least_lateness() const {
    Word least = OrderSearch::kFar;
    for (int choice = 0; choice < 1 << size(); ++choice) {
      std::vector<int> places;
      for (int task = 0; task < size(); ++task) {
        const int bit = choice >> task & 1;
        if (machines[index(task)] != 2 && bit == 1) break;
        places.push_back(machines[index(task)] == 2 ? bit
                                                    : machines[index(task)]);
      }
      if (places.size() < releases.size()) continue;
      std::vector<int> order(releases.size());
      std::iota(order.begin(), order.end(), 0);
      do {
        std::vector<int> position(order.size());
        for (int k = 0; k < size(); ++k) position[index(order[index(k)])] = k;
        if (std::all_of(lags.begin(), lags.end(), [&](const Lag& lag) {
              return position[index(lag.before)] < position[index(lag.after)];
            })) {
          least = std::min(least, lateness(order, places));
        }
      } while (std::next_permutation(order.begin(), order.end()));
    }
    return least;
  }
};

/// The problem as it is searched, with the members of each task.
struct Started {
  OrderSearch search;
  std::vector<std::vector<int>> members;  // by task, then by machine; or -1

  explicit Started(const Tasks& tasks)
      : search(tasks.size()), members(index(tasks.size()), {-1, -1}) {
    for (int task = 0; task < tasks.size(); ++task) {
      search.add_release(task, tasks.releases[index(task)]);
      search.add_deadline(task, tasks.deadlines[index(task)]);
    }
    for (const Tasks::Lag& lag : tasks.lags) {
      search.add_lag(lag.before, lag.after, lag.time);
    }
    for (int machine = 0; machine < 2; ++machine) {
      search.add_machine();
      for (int task = 0; task < tasks.size(); ++task) {
        const int place = tasks.machines[index(task)];
        if (place == 1 - machine) continue;
        members[index(task)][index(machine)] = search.add_member(
            task, tasks.durations[index(task)][index(machine)], place == 2);
      }
    }
  }
};

// If an order it takes for good overlaps, or is not what it says, the search
// would be given bad advice; if it misses the best of some thousand orders, no
// advice at all.
TEST(OrderSearchTest, FindsTheBestOrdersOfFewTasks) {
  Random random(1);
  int num_best = 0;
  constexpr int kProblems = 400;
  for (int k = 0; k < kProblems; ++k) {
    const Tasks tasks(random);
    Started started(tasks);
    const Word late = started.search.run(200'000, random);

    const std::vector<Word>& starts = started.search.starts();
    std::vector<int> places;
    Word most = -OrderSearch::kFar;
    for (int task = 0; task < tasks.size(); ++task) {
      const std::vector<int>& members = started.members[index(task)];
      int used = -1;
      for (const int machine : {0, 1}) {
        const int member = members[index(machine)];
        if (member < 0 || !started.search.is_used(member)) continue;
        ASSERT_EQ(used, -1) << "on two machines";
        used = machine;
      }
      ASSERT_NE(used, -1);
      places.push_back(used);
      ASSERT_GE(starts[index(task)], tasks.releases[index(task)]);
      most = std::max(most, starts[index(task)] - tasks.deadlines[index(task)]);
    }
    EXPECT_EQ(late, most);
    for (const Tasks::Lag& lag : tasks.lags) {
      EXPECT_GE(starts[index(lag.after)], starts[index(lag.before)] + lag.time);
    }
    for (int a = 0; a < tasks.size(); ++a) {
      for (int b = 0; b < a; ++b) {
        if (places[index(a)] != places[index(b)]) continue;
        const std::size_t machine = index(places[index(a)]);
        EXPECT_TRUE(starts[index(a)] + tasks.durations[index(a)][machine] <=
                        starts[index(b)] ||
                    starts[index(b)] + tasks.durations[index(b)][machine] <=
                        starts[index(a)]);
      }
    }
    const Word least = tasks.least_lateness();
    // It ends as soon as nothing is late.
    EXPECT_GE(late, least);
    if (late == least || late <= 0) ++num_best;
  }
  EXPECT_GE(num_best, kProblems * 95 / 100);
}

// Begun where it ended, it goes on from there.
TEST(OrderSearchTest, BeginsWithGivenStarts) {
  Random random(5);
  for (int k = 0; k < 100; ++k) {
    const Tasks tasks(random);
    Started first(tasks);
    const Word late = first.search.run(200'000, random);
    std::vector<int> used;
    for (const std::vector<int>& members : first.members) {
      for (const int member : members) {
        if (member >= 0 && first.search.is_used(member)) used.push_back(member);
      }
    }

    Started second(tasks);
    second.search.begin_with(first.search.starts(), used);
    EXPECT_LE(second.search.run(100, random), late);
  }
}

// Tasks that wait for each other have no order.
TEST(OrderSearchTest, CyclesHaveNoOrder) {
  OrderSearch search(2);
  search.add_lag(0, 1, 1);
  search.add_lag(1, 0, 1);
  Random random(1);

  EXPECT_EQ(search.run(1000, random), OrderSearch::kFar);
}

}  // namespace
}  // namespace vorn::solver
