// SPDX-License-Identifier: MIT
#include "vorn/dl/relaxation_queue.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <deque>
#include <numeric>
#include <random>
#include <vector>

namespace vorn::dl {
namespace {

// The order of the queue is the order of the relaxation, also when the ring
// grows while it is wrapped round.
TEST(RelaxationQueueTest, IsFirstInFirstOutAcrossGrowth) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::vector<int> ring;
    RelaxationQueue queue(ring);
    std::deque<int> model;
    for (int step = 0; step < 1000; ++step) {
      ASSERT_EQ(queue.empty(), model.empty());
      if (random() % 8 == 0) {
        std::vector<int> several(random() % 100);
        std::iota(several.begin(), several.end(), 1000 * step);
        queue.push_all(several);
        model.insert(model.end(), several.begin(), several.end());
      } else if (random() % 5 < 2 || model.empty()) {
        queue.push(step);
        model.push_back(step);
      } else {
        ASSERT_EQ(queue.pop(), model.front());
        model.pop_front();
      }
    }
    while (!model.empty()) {
      ASSERT_EQ(queue.pop(), model.front());
      model.pop_front();
    }
    EXPECT_TRUE(queue.empty());
  }
}

// A run that ends early leaves entries behind; the next must not see them, and
// should find the room.
TEST(RelaxationQueueTest, NextQueueIsEmptyAndHasTheStorage) {
  std::vector<int> ring;
  RelaxationQueue first(ring);
  for (int k = 0; k < 100; ++k) first.push(k);
  const std::size_t size = ring.size();

  RelaxationQueue second(ring);

  EXPECT_TRUE(second.empty());
  for (int k = 0; k < 100; ++k) second.push(1000 + k);
  EXPECT_EQ(ring.size(), size);
  for (int k = 0; k < 100; ++k) ASSERT_EQ(second.pop(), 1000 + k);
  EXPECT_TRUE(second.empty());
}

// Storage of an unusually large run is given back, and can be made again.
TEST(RelaxationQueueTest, TakesStorageThatWasGivenBack) {
  std::vector<int> ring;
  RelaxationQueue first(ring);
  for (int k = 0; k < 100; ++k) first.push(k);
  std::vector<int>().swap(ring);

  RelaxationQueue second(ring);

  second.push(7);
  EXPECT_EQ(second.pop(), 7);
}

}  // namespace
}  // namespace vorn::dl
