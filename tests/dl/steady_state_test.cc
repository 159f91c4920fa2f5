// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <vector>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "vorn/dl/graph.h"
#include "vorn/numbers/block_pool.h"
#include "vorn/services/configuration.h"

// What a search does all day must not go to the general allocator.

namespace vorn::dl {
namespace {

constexpr int kNodes = 60;
constexpr int kConstraints = 400;

struct Search {
  Configuration::Theory::La config;
  Graph graph{&config, nullptr, nullptr};
  std::vector<int> active;
  std::vector<int> conflict;
  std::size_t conflicts = 0;
  std::size_t longest = 0;

  /// Weights of several small forms: integers, fractions, strict ones.
  Search() {
    std::mt19937 random(7);
    for (int k = 1; k <= kConstraints; ++k) {
      const int source = static_cast<int>(random() % kNodes);
      int target = static_cast<int>(random() % (kNodes - 1));
      if (target >= source) ++target;
      QNumber weight(static_cast<int>(random() % 100) - 20);
      if (k % 4 == 0) weight /= QNumber(6);
      const int eps = k % 3 == 0 ? -1 : 0;
      graph.tell_edge(
          k, Edge(source, target, la::DNumber(weight, QNumber(eps)), k));
    }
  }

  /// Pushes, checks, explains and pops, always in the same way.
  void run() {
    std::mt19937 random(11);
    for (int step = 0; step < 4000; ++step) {
      const int k = 1 + static_cast<int>(random() % kConstraints);
      bool known = false;
      for (const int other : active) known = known || other == k;
      if (known) continue;
      graph.push_edge(k);
      active.push_back(k);
      longest = active.size() > longest ? active.size() : longest;
      if (graph.check(true)) continue;
      graph.get_conflict_set(&conflict);
      ++conflicts;
      pop(1 + static_cast<int>(random() % 12));
    }
    pop(kConstraints);
  }

  void pop(int count) {
    while (count-- > 0 && !active.empty()) {
      graph.pop_edge(active.back());
      active.pop_back();
    }
  }
};

// After a first round the graph, the thread and the host have all the room that
// the rounds after it need.
TEST(SteadyStateTest, PushCheckConflictAndPopAllocateNothing) {
  if (VORN_RECYCLES_BLOCKS == 0) {
    GTEST_SKIP() << "sanitizers see every block";
  }
  Search search;
  search.run();
  search.run();
  ASSERT_GT(search.conflicts, 100U);
  ASSERT_GT(search.longest, 20U);
  const std::size_t news = test::num_new();
  const std::size_t conflicts = search.conflicts;

  search.run();

  EXPECT_EQ(test::num_new(), news);
  EXPECT_GT(search.conflicts, conflicts);
}

}  // namespace
}  // namespace vorn::dl
