// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/build_kind.h"
#include "tests/dl/closure_oracle.h"
#include "tests/dl/closure_traces.h"

// Random hosts of a closure against shortest paths of Boost.Graph.
// VORN_CLOSURE_TRACES sets the number of traces of each test and
// VORN_CLOSURE_SEED the first seed.

namespace vorn::dl_test {
namespace {

constexpr int kTraceLength = 160;

constexpr unsigned kDefaultTraces = test::kSanitized ? 50 : 100;

unsigned number_from_environment(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr
             ? otherwise
             : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

/// Runs one trace. The calls up to the one after which something was wrong, or
/// nothing.
std::vector<ClosureOp> run_until_failure(unsigned seed, ClosureWay way,
                                         ClosureSeen* seen) {
  RandomClosureTrace trace(seed, way);
  ClosureUnderTest t(trace.setting(), seen);
  std::vector<ClosureOp> ops;
  for (int step = 0; step < kTraceLength; ++step) {
    ops.push_back(trace.next(t));
    t.apply(ops.back());
    if (!trace.setting().drains && trace.random().one_in(6)) t.drain();
    t.verify_known();
    // Only now and then: an explanation has to wait.
    if (trace.random().one_in(3)) t.verify_paths();
    t.verify_bounds(
        trace.random().between(0, static_cast<int>(trace.setting().nodes) - 1));
    if (testing::Test::HasFailure()) return ops;
  }
  // Whatever is left goes in order.
  while (!t.active().empty()) {
    ops.push_back({ClosureOp::Kind::kPop});
    t.apply(ops.back());
    t.verify_known();
    if (testing::Test::HasFailure()) return ops;
  }
  return {};
}

ClosureSeen run(ClosureWay way) {
  const unsigned traces =
      number_from_environment("VORN_CLOSURE_TRACES", kDefaultTraces);
  const unsigned first = number_from_environment("VORN_CLOSURE_SEED", 1);
  ClosureSeen seen;
  for (unsigned seed = first; seed < first + traces; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::vector<ClosureOp> failing = run_until_failure(seed, way, &seen);
    if (failing.empty()) continue;
    std::ostringstream text;
    for (const ClosureOp& op : failing) text << op << "\n";
    ADD_FAILURE() << "after\n" << text.str();
    return seen;
  }
  std::cout << traces << " traces from seed " << first << ": " << seen << "\n";
  if (traces < kDefaultTraces) return seen;
  EXPECT_GT(seen.pushes, 10 * traces);
  EXPECT_GT(seen.conflicts, traces);
  EXPECT_GT(seen.pushes_of_known, traces);
  EXPECT_GT(seen.reports, traces);
  EXPECT_GT(seen.long_paths, traces);
  EXPECT_GT(seen.late_paths, traces);
  EXPECT_GT(seen.kept_numbers, 0U);
  EXPECT_GT(seen.free_numbers, 0U);
  return seen;
}

// A matrix decides, explains and bounds for most hosts; a wrong consequence
// makes them unsound, one that is missed makes them search in vain.
TEST(ClosureRandomTest, MatrixAgreesWithAllPairsShortestPaths) {
  const ClosureSeen seen = run(ClosureWay::kMatrix);
  EXPECT_GT(seen.reports_when_told, 0U);
  EXPECT_GT(seen.to_more_rows, 0U);
  EXPECT_GT(seen.matrix_to_word64, 0U);
  EXPECT_GT(seen.matrix_to_exact, 0U);
}

// The same for graphs whose square is too large.
TEST(ClosureRandomTest, PathsAgreeWithAllPairsShortestPaths) {
  const ClosureSeen seen = run(ClosureWay::kPaths);
  EXPECT_GT(seen.paths_to_exact, 0U);
}

// The hand-over from one to the other happens in the middle of a search: all
// that the host was told has to stay true and explained.
TEST(ClosureRandomTest, OutgrownMatrixAgreesWithAllPairsShortestPaths) {
  const ClosureSeen seen = run(ClosureWay::kOutgrown);
  EXPECT_GT(seen.to_paths_in_push, 0U);
  EXPECT_GT(seen.to_paths_in_tell, 0U);
  EXPECT_GT(seen.to_paths_with_known, 0U);
  EXPECT_GT(seen.paths_to_exact, 0U);
}

// A search that is cut short may miss what follows, but reports nothing wrong.
TEST(ClosureRandomTest, FewStepsReportNothingThatDoesNotFollow) {
  run(ClosureWay::kFewSteps);
}

}  // namespace
}  // namespace vorn::dl_test
