// SPDX-License-Identifier: MIT
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/build_kind.h"
#include "tests/model/runner.h"
#include "tests/model/trace.h"
#include "tests/threads/in_threads.h"

// Graphs in threads of their own, each next to a model of its own. They share
// the library's constants, and nothing else.

namespace vorn::model {
namespace {

constexpr int kThreads = 8;
constexpr std::size_t kCalls = 220;
constexpr std::size_t kTraces = test::kSanitized ? 4 : 12;

bool is_beyond_word(const mpq_class& value) {
  return mpz_sizeinbase(value.get_num_mpz_t(), 2) > 64;
}

std::size_t num_big_weights(const Trace& trace) {
  return static_cast<std::size_t>(
      std::count_if(trace.begin(), trace.end(), [](const Call& call) {
        return is_beyond_word(call.first.weight.rational) ||
               is_beyond_word(call.second.weight.rational);
      }));
}

std::uint64_t seed_of(int thread, std::size_t round) {
  return 1000 * static_cast<std::uint64_t>(thread + 1) + round;
}

// Any state that graphs share by mistake, numbers included, makes one of them
// differ from its model, or is seen by the thread sanitizer.
TEST(GraphThreadsTest, EightGraphsInEightThreadsAgreeWithTheirModels) {
  std::vector<std::vector<RunResult>> results(kThreads);

  test::in_threads(kThreads, [&results](int thread) {
    std::vector<RunResult>& mine = results[static_cast<std::size_t>(thread)];
    for (std::size_t round = 0; round < kTraces; ++round) {
      mine.push_back(run_trace(random_trace(seed_of(thread, round), kCalls)));
    }
  });

  std::size_t conflicts = 0;
  std::size_t lemmas = 0;
  std::size_t big_weights = 0;
  for (int thread = 0; thread < kThreads; ++thread) {
    for (std::size_t round = 0; round < kTraces; ++round) {
      const std::uint64_t seed = seed_of(thread, round);
      SCOPED_TRACE(::testing::Message() << "seed " << seed);
      const RunResult& result =
          results[static_cast<std::size_t>(thread)][round];
      EXPECT_TRUE(result.agrees) << result.difference;
      // And the model with what it is when nothing else runs.
      const Trace trace = random_trace(seed, kCalls);
      const RunResult alone = run_trace(trace);
      EXPECT_EQ(result.calls, alone.calls);
      EXPECT_EQ(result.conflicts, alone.conflicts);
      EXPECT_EQ(result.lemmas, alone.lemmas);
      conflicts += result.conflicts;
      lemmas += result.lemmas;
      big_weights += num_big_weights(trace);
    }
  }
  // Were one of these rare, little would be tested.
  EXPECT_GT(conflicts, 100U);
  EXPECT_GT(lemmas, 20U);
  EXPECT_GT(big_weights, 20U);
}

}  // namespace
}  // namespace vorn::model
