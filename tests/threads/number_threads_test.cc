// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/build_kind.h"
#include "tests/threads/in_threads.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

// Numbers in threads that come and go. Blocks of numbers may be kept for reuse
// by the thread that made them; what these tests are after is the moment when
// such a thread ends, and the end of the program. Double releases and leaks
// show under the address sanitizer, races under the thread sanitizer.

namespace vorn::la {
namespace {

constexpr int kShortThreads = test::kSanitized ? 1200 : 4000;

QNumber number(const std::string& text) {
  return *QNumber::from_string(text);
}

// Values of the main thread that are destroyed after everything in main. Only
// the main thread touches them.
DNumber static_value(3, -1);
DNumber static_big(number("100000000000000000000"), number("-1/3"));
std::vector<DNumber> static_values;

// Makes, shares and drops numbers of every kind; the sum of the first n odd
// numbers, with n eps, comes out.
DNumber churn(int n) {
  const QNumber shift = number("36893488147419103232");  // 2^65
  DNumber sum;
  std::vector<DNumber> kept;
  for (int i = 0; i < n; ++i) {
    DNumber term(2 * i + 1, 1);
    DNumber big(shift, number("-7/3"));
    big += term;
    big += DNumber(-shift, number("7/3"));
    // In place, to a shared block, and as a new sum in turn.
    if (i % 3 == 0) {
      sum += big;
    } else if (i % 3 == 1) {
      kept.push_back(sum);
      sum += term;
    } else {
      sum = sum + term;
    }
    if (kept.size() > 20) kept.erase(kept.begin(), kept.begin() + 10);
  }
  return sum;
}

std::string churn_text(int n) {
  return std::to_string(n * n) + " + " + std::to_string(n) + "*eps";
}

// A block that one thread's end takes from another, or that two threads reuse.
TEST(NumberThreadsTest, ThousandsOfShortThreadsLeaveTheOthersAlone) {
  constexpr int kLong = 2;
  constexpr int kAtOnce = 8;
  std::atomic<bool> stop(false);
  std::array<bool, kLong> long_right{};
  std::vector<std::thread> long_threads;
  for (int i = 0; i < kLong; ++i) {
    long_threads.emplace_back([&stop, &long_right, i] {
      bool right = true;
      // Made before most of the other threads begin, used after they end.
      const DNumber kept = churn(30);
      do {
        right = right && churn(60).to_str() == churn_text(60);
      } while (!stop);
      long_right[static_cast<std::size_t>(i)] =
          right && (kept + churn(4)).to_str() == "916 + 34*eps";
    });
  }

  int num_right = 0;
  for (int made = 0; made < kShortThreads; made += kAtOnce) {
    std::array<bool, kAtOnce> right{};
    std::vector<std::thread> threads;
    for (int i = 0; i < kAtOnce; ++i) {
      threads.emplace_back([&right, i, made] {
        const int n = 2 + (made / kAtOnce + i) % 30;
        right[static_cast<std::size_t>(i)] = churn(n).to_str() == churn_text(n);
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (const bool one : right) num_right += one ? 1 : 0;
  }
  stop = true;
  for (std::thread& thread : long_threads) thread.join();

  EXPECT_EQ(num_right, kShortThreads);
  for (const bool right : long_right) EXPECT_TRUE(right);
}

// Destroyed at the end of its thread, in the reverse order of construction.
struct Holder {
  explicit Holder(std::atomic<int>* holders) : alive(holders) { ++*alive; }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;
  ~Holder() {
    // Still good for arithmetic, whatever of the thread is gone already.
    value += DNumber(1, 0);
    value = value + value;
    values.clear();
    if (value.to_str() == "202 + 20*eps") --*alive;
  }

  std::atomic<int>* alive;
  DNumber value;
  std::vector<DNumber> values;
};

// A thread_local value that was constructed before the thread made its first
// block is destroyed after whatever the thread keeps its blocks in.
TEST(NumberThreadsTest, ThreadLocalValuesAreReleasedWhenTheirThreadEnds) {
  std::atomic<int> alive(0);
  for (int round = 0; round < 50; ++round) {
    test::in_threads(4, [&alive](int) {
      thread_local Holder early(&alive);
      early.value = churn(10);
      thread_local Holder late(&alive);
      late.value = early.value;
      for (int i = 0; i < 100; ++i) {
        early.values.push_back(churn(3));
        late.values.push_back(early.values.back());
      }
    });
    ASSERT_EQ(alive, 0) << "round " << round;
  }
}

// The main thread's own blocks are gone when static values are destroyed.
TEST(NumberThreadsTest, StaticValuesAreReleasedAtTheEndOfTheProgram) {
  for (int i = 0; i < 200; ++i) static_values.push_back(churn(5));
  static_value += static_values.back();
  static_big += static_value;

  EXPECT_EQ(static_value.to_str(), "28 + 4*eps");
  EXPECT_EQ(static_big.to_str(), "100000000000000000028 + 11/3*eps");
}

// All threads read the one zero, and none may write to it.
TEST(NumberThreadsTest, ThreadsShareTheZero) {
  constexpr int kThreads = 8;
  std::array<bool, kThreads> right{};

  test::in_threads(kThreads, [&right](int thread) {
    bool mine = true;
    for (int i = 1; i < 2000; ++i) {
      DNumber sum;
      DNumber zero = sum;
      sum += DNumber(i, 0);
      zero += zero;
      DNumber moved = std::move(sum);
      mine = mine && sum.to_str() == "0" &&  // NOLINT(bugprone-use-after-move)
             zero.to_str() == "0" && !(moved < zero) && zero < moved;
    }
    right[static_cast<std::size_t>(thread)] = mine;
  });

  for (const bool one : right) EXPECT_TRUE(one);
  EXPECT_EQ(DNumber::zero.refcount, 2);
}

}  // namespace
}  // namespace vorn::la
