// SPDX-License-Identifier: MIT
#include "vorn/numbers/block_pool.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <thread>
#include <vector>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "vorn/numbers/d_number.h"

// Blocks that a thread keeps. Under sanitizers none are kept, and the tests
// look at that instead.

namespace vorn::la {
namespace {

constexpr bool kRecycles = VORN_RECYCLES_BLOCKS != 0;

// Runs `body` on a thread of its own, whose pool is new.
template <class Body>
void on_new_thread(Body&& body) {
  std::thread(body).join();
}

// Relaxations make and drop blocks all the time: in steady state none may come
// from the general allocator.
TEST(BlockPoolTest, DroppedBlocksAreUsedAgainLastOneFirst) {
  on_new_thread([] {
    const void* first = nullptr;
    const void* second = nullptr;
    {
      const DNumber a(1, 0);
      const DNumber b(2, 0);
      first = Inspector::block(a);
      second = Inspector::block(b);
    }  // b goes first
    EXPECT_EQ(Inspector::num_kept_blocks(), kRecycles ? 2U : 0U);
    if (!kRecycles) return;

    const std::size_t before = test::num_new();
    const DNumber c(3, 0);
    const DNumber d(4, 0);

    EXPECT_EQ(Inspector::block(c), first);
    EXPECT_EQ(Inspector::block(d), second);
    EXPECT_EQ(test::num_new(), before);
    EXPECT_EQ(Inspector::num_kept_blocks(), 0U);
  });
}

// A host that once had many numbers must get the memory back.
TEST(BlockPoolTest, KeepsNoMoreThanItsBound) {
  on_new_thread([] {
    std::vector<DNumber> many;
    many.reserve(BlockPool::kMostKept + 100);
    for (std::size_t k = 0; k < BlockPool::kMostKept + 100; ++k) {
      many.emplace_back(1, 2);
    }
    const std::ptrdiff_t live = test::num_live();

    many.clear();

    const auto kept = static_cast<std::ptrdiff_t>(BlockPool::kMostKept);
    EXPECT_EQ(Inspector::num_kept_blocks(),
              kRecycles ? BlockPool::kMostKept : 0);
    EXPECT_EQ(live - test::num_live(), kRecycles ? 100 : kept + 100);
  });
}

// What a thread keeps goes back when it ends, or a program with many short
// threads grows without end.
TEST(BlockPoolTest, EndOfThreadGivesEverythingBack) {
  const std::ptrdiff_t live = test::num_live();
  for (int k = 0; k < 50; ++k) {
    on_new_thread([] {
      std::array<DNumber, 200> numbers;
      for (DNumber& number : numbers) number = DNumber(7, -1);
    });
  }
  EXPECT_EQ(test::num_live(), live);
}

// A number in a thread-local object may go after the pool has closed.
TEST(BlockPoolTest, NumbersThatOutliveThePoolGoToTheAllocator) {
  struct Late {
    DNumber number;
  };
  const std::ptrdiff_t live = test::num_live();
  on_new_thread([] {
    // Made before the pool has anyone to close it, so it goes after it.
    thread_local Late late;
    late.number = DNumber(1, 1);
    { const DNumber opens_the_pool(2, 2); }
    late.number += DNumber(3, 3);
  });
  EXPECT_EQ(test::num_live(), live);
}

}  // namespace
}  // namespace vorn::la
