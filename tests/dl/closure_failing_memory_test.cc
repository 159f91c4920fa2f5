// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/build_kind.h"
#include "tests/dl/closure_oracle.h"
#include "tests/dl/closure_traces.h"
#include "tests/numbers/allocation_hooks.h"
#include "vorn/dl/closure.h"
#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"

// What is left of a closure when memory runs out: in each call of random
// traces, each allocation fails in turn. The trace is played anew for each of
// them, since a call that failed leaves room behind that the next one need not
// allocate.

namespace vorn::dl_test {
namespace {

constexpr int kFailingTraceLength = 75;

/// Calls of either kind to be tried, and of those that hand over.
constexpr int kCalls = 40;
constexpr int kHandOvers = test::kSanitized ? 1 : 2;

/// Runs `body` on a thread of its own: the blocks of numbers that a thread
/// keeps would not be allocated again.
void on_fresh_thread(const std::function<void()>& body) {
  std::thread(body).join();
}

struct Trace {
  std::vector<ClosureOp> ops;
  /// The calls in which allocations are to fail: those that rebuild, and some
  /// others; where a matrix is outgrown, those in which paths take over.
  std::vector<std::size_t> chosen;
};

/// Calls that may allocate, now and then; of edges that are told while others
/// are active, which a way has to look at at once, more.
bool is_chosen(const ClosureOp& op, const ClosureUnderTest& t, Random& random) {
  if (op.kind == ClosureOp::Kind::kPush) return random.one_in(20);
  if (op.kind != ClosureOp::Kind::kTell) return false;
  return random.one_in(t.active().empty() ? 20 : 3);
}

Trace make_trace(unsigned seed, ClosureWay way) {
  ClosureSeen seen;
  RandomClosureTrace random(seed, way);
  ClosureUnderTest t(random.setting(), &seen);
  Trace trace;
  for (int step = 0; step < kFailingTraceLength; ++step) {
    const ClosureOp op = random.next(t);
    const std::uint64_t rebuilds = t.closure().counters().rebuilds;
    const bool was_matrix = t.closure().uses_matrix();
    t.apply(op);
    trace.ops.push_back(op);
    const bool rebuilt = t.closure().counters().rebuilds != rebuilds;
    if (way == ClosureWay::kOutgrown
            ? rebuilt && was_matrix && !t.closure().uses_matrix()
            : rebuilt || is_chosen(op, t, random.random())) {
      trace.chosen.push_back(trace.ops.size() - 1);
    }
  }
  return trace;
}

/// The first calls of a trace, and then the next one with allocation n failing.
/// Whether it failed.
bool fails_in_last(const ClosureUnderTest::Setting& setting,
                   const std::vector<ClosureOp>& ops, std::size_t last,
                   std::size_t n, ClosureSeen* seen) {
  ClosureUnderTest t(setting, seen);
  t.compare_at_once(false);
  for (std::size_t i = 0; i < last; ++i) t.apply(ops[i]);
  t.compare_at_once(true);
  t.verify_known();

  const bool failed = t.fails(ops[last], n);

  const auto verify = [&] {
    t.verify_known();
    t.verify_paths();
    t.verify_bounds(static_cast<int>(n % setting.nodes));
  };
  verify();
  if (!failed) return false;
  // The host can go on where it was.
  t.apply(ops[last]);
  verify();
  while (!t.active().empty()) {
    t.apply({ClosureOp::Kind::kPop});
    if (t.active().size() % 8 == 0) t.verify_known();
  }
  return true;
}

ClosureSeen run(ClosureWay way, int calls) {
  ClosureSeen seen;
  std::size_t failures = 0;
  std::map<ClosureOp::Kind, int> left = {{ClosureOp::Kind::kTell, calls},
                                         {ClosureOp::Kind::kPush, calls}};
  for (unsigned seed = 1; !left.empty(); ++seed) {
    const ClosureUnderTest::Setting setting =
        RandomClosureTrace(seed, way).setting();
    const Trace trace = make_trace(seed, way);
    for (const std::size_t last : trace.chosen) {
      const auto kind = left.find(trace.ops[last].kind);
      if (kind == left.end()) continue;
      if (--kind->second == 0) left.erase(kind);
      bool failed = true;
      for (std::size_t n = 0; failed; ++n) {
        on_fresh_thread([&] {
          failed = fails_in_last(setting, trace.ops, last, n, &seen);
        });
        if (failed) ++failures;
        if (!testing::Test::HasFailure()) continue;
        std::ostringstream text;
        for (std::size_t i = 0; i <= last; ++i) text << trace.ops[i] << "\n";
        ADD_FAILURE() << "seed " << seed << ", allocation " << n
                      << " of the last call of\n"
                      << text.str();
        return seen;
      }
    }
  }
  EXPECT_GT(failures, 100U);
  EXPECT_GT(seen.failing_rebuilds, 20U);
  return seen;
}

// A host that runs out of memory takes back what it did and reports that; a
// consequence lost or made up then would be a wrong answer later.
TEST(ClosureFailingMemoryTest, MatrixIsAsBeforeTheCallThatFailed) {
  const ClosureSeen seen = run(ClosureWay::kMatrix, kCalls);
  EXPECT_GT(seen.to_more_rows, 0U);
  EXPECT_GT(seen.matrix_to_exact, 0U);
}

// The same for searches, their potentials and their stored paths.
TEST(ClosureFailingMemoryTest, PathsAreAsBeforeTheCallThatFailed) {
  const ClosureSeen seen = run(ClosureWay::kPaths, kCalls);
  EXPECT_GT(seen.paths_to_exact, 0U);
}

// The same while one way hands over to the other.
TEST(ClosureFailingMemoryTest, HandOverIsAsBeforeTheCallThatFailed) {
  const ClosureSeen seen = run(ClosureWay::kOutgrown, kHandOvers);
  EXPECT_GT(seen.to_paths_in_push, 0U);
  EXPECT_GT(seen.to_paths_in_tell, 0U);
}

// A matrix has no row for a node whose first bound could not be told; what
// stands where the row would be belongs to others.
TEST(ClosureFailingMemoryTest, NodeOfBoundThatWasNotToldIsUnbounded) {
  constexpr int kNodes = 8;
  int failures = 0;
  bool failed = true;
  for (std::size_t n = 0; failed; ++n) {
    dl::Closure closure;
    for (int node = 0; node < kNodes; ++node) {
      closure.tell_edge(
          node, dl::Edge(node, (node + 1) % kNodes, la::DNumber(1, 0), node));
      ASSERT_TRUE(closure.push_edge(node));
    }
    const dl::Edge edge(0, kNodes, la::DNumber(1, 0), kNodes);

    failed = test::fails_at(n, [&] { closure.tell_edge(kNodes, edge); });

    la::DNumber weight;
    for (int node = 0; node < kNodes; ++node) {
      EXPECT_FALSE(closure.tightest_bound(node, kNodes, &weight, nullptr));
      EXPECT_FALSE(closure.tightest_bound(kNodes, node, &weight, nullptr));
      EXPECT_TRUE(
          closure.tightest_bound(node, (node + 2) % kNodes, &weight, nullptr));
    }
    if (failed) ++failures;
  }
  EXPECT_GT(failures, 10);
}

}  // namespace
}  // namespace vorn::dl_test
