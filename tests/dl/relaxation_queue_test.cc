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
    RelaxationQueue queue;
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

// A run that ends early leaves entries behind; the next must not see them.
TEST(RelaxationQueueTest, ClearEmptiesAndKeepsStorage) {
  RelaxationQueue queue;
  for (int k = 0; k < 100; ++k) queue.push(k);
  const std::size_t capacity = queue.capacity();

  queue.clear();

  EXPECT_TRUE(queue.empty());
  EXPECT_EQ(queue.capacity(), capacity);
  queue.push(7);
  EXPECT_EQ(queue.pop(), 7);
}

// Storage of an unusually large run is given back, and can be made again.
TEST(RelaxationQueueTest, ReleaseGivesStorageBack) {
  RelaxationQueue queue;
  for (int k = 0; k < 100; ++k) queue.push(k);

  queue.release();

  EXPECT_TRUE(queue.empty());
  EXPECT_EQ(queue.capacity(), 0U);
  queue.push(7);
  EXPECT_EQ(queue.pop(), 7);
}

}  // namespace
}  // namespace vorn::dl
