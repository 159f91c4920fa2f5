// SPDX-License-Identifier: MIT
#include "solver/search/decision_heap.h"

#include <gtest/gtest.h>

#include <set>

#include "solver/search/random.h"

namespace vorn::solver {
namespace {

/// The variable of `members` that comes first.
int first_of(const std::set<int>& members, const DecisionHeap& heap) {
  int result = *members.begin();
  for (const int member : members) {
    if (heap.is_before(member, result)) result = member;
  }
  return result;
}

// The order of decisions is the whole point of the heap.
TEST(DecisionHeapTest, PopReturnsMostActiveThenLowest) {
  DecisionHeap heap(0.5);
  for (int i = 0; i < 4; ++i) {
    heap.new_variable(0.0);
    heap.insert(i);
  }

  heap.bump(2);
  heap.decay();
  heap.bump(3);

  EXPECT_EQ(heap.pop(), 3);
  EXPECT_EQ(heap.pop(), 2);
  EXPECT_EQ(heap.pop(), 0);
  EXPECT_EQ(heap.pop(), 1);
  EXPECT_TRUE(heap.is_empty());
}

// A variable inserted twice would be decided twice.
TEST(DecisionHeapTest, InsertTwiceKeepsOneEntry) {
  DecisionHeap heap(0.9);
  heap.new_variable(0.0);

  heap.insert(0);
  heap.insert(0);

  EXPECT_EQ(heap.size(), 1);
}

// Without rescaling the activities become infinite and all equal.
TEST(DecisionHeapTest, LongDecayKeepsOrder) {
  DecisionHeap heap(0.5);
  for (int i = 0; i < 3; ++i) heap.new_variable(0.0);

  for (int round = 0; round < 5000; ++round) {
    heap.bump(round % 3);
    heap.decay();
  }

  // The last bumps went to 4999 % 3 == 1, then 0, then 2.
  for (int i = 0; i < 3; ++i) heap.insert(i);
  heap.check_invariants();
  EXPECT_EQ(heap.pop(), 1);
  EXPECT_EQ(heap.pop(), 0);
  EXPECT_EQ(heap.pop(), 2);
}

// Compares every operation with a plain set; a lost variable is never decided.
TEST(DecisionHeapTest, RandomOperationsAgreeWithSet) {
  for (std::uint64_t seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(seed);
    DecisionHeap heap(seed % 2 == 0 ? 0.95 : 1e-7);
    std::set<int> members;
    for (int step = 0; step < 1500; ++step) {
      const int count = heap.num_variables();
      const int action = count == 0 ? 0 : random.below(20);
      if (action == 0) {
        heap.new_variable(random.fraction());
      } else if (action < 8) {
        const int variable = random.below(count);
        heap.insert(variable);
        members.insert(variable);
      } else if (action < 13) {
        heap.bump(random.below(count));
        if (random.below(4) == 0) heap.decay();
      } else if (action < 19) {
        if (members.empty()) continue;
        const int expected = first_of(members, heap);
        EXPECT_EQ(heap.top(), expected);
        ASSERT_EQ(heap.pop(), expected);
        members.erase(expected);
      } else if (random.below(5) == 0) {
        const int kept = count - random.below(count / 4 + 1);
        heap.shrink(kept);
        members.erase(members.lower_bound(kept), members.end());
      }
      ASSERT_EQ(heap.size(), static_cast<int>(members.size()));
      for (int i = 0; i < heap.num_variables(); ++i) {
        ASSERT_EQ(heap.contains(i), members.count(i) == 1);
      }
      heap.check_invariants();
    }
  }
}

}  // namespace
}  // namespace vorn::solver
