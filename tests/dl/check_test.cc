// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "tests/dl/graph_under_test.h"
#include "vorn/dl/graph.h"

namespace vorn::dl {
namespace {

using dl_test::edge;
using dl_test::EdgeIds;
using dl_test::GraphUnderTest;

la::DNumber number(const std::string& text) {
  return {*QNumber::from_string(text), QNumber()};
}

// Pushing is queueing: nothing may change before the check.
TEST(GraphTest, PushEdgeOnlyQueues) {
  GraphUnderTest t;
  t.tell(3, 1, 2, -5);

  EXPECT_TRUE(t.graph.push_edge(3));

  EXPECT_EQ(t.pending(), EdgeIds{6});
  EXPECT_EQ(t.notified(1), EdgeIds{6});
  EXPECT_EQ(t.active(1), EdgeIds());
  EXPECT_EQ(t.potential(2), "0");
}

// A constraint with one edge queues one: 2k+1 is nobody's.
TEST(GraphTest, PushEdgeOfSingleEdgeQueuesOneId) {
  GraphUnderTest t;
  t.tell(3, 1, 2, 0);
  t.tell(4, 1, 2, 0);

  t.push({4, 3});

  EXPECT_EQ(t.pending(), (EdgeIds{8, 6}));
  EXPECT_FALSE(t.is_registered(7));
  EXPECT_FALSE(t.is_registered(9));
}

// Both edges of a pair, the first one first.
TEST(GraphTest, PushEdgeOfPairQueuesBothInOrder) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 0);
  t.graph.tell_bi_edge(3, edge(1, 2, 1), edge(2, 1, 1));

  t.push({1, 3});

  EXPECT_EQ(t.pending(), (EdgeIds{2, 6, 7}));
}

// A pair whose own two edges contradict each other: the second one fails,
// which shows the order of the checks.
TEST(GraphTest, CheckTakesTheEdgesOfAPairInOrder) {
  GraphUnderTest t;
  t.graph.tell_bi_edge(3, edge(1, 2, 1), edge(2, 1, -2));

  EXPECT_FALSE(t.activate({3}));

  EXPECT_EQ(t.active(1), EdgeIds{6});
  EXPECT_EQ(t.pending(), EdgeIds{7});
  EXPECT_EQ(t.cur_conflict(), (EdgeIds{7, 6}));
}

// Nothing to do is no inconsistency, and repeats nothing that was found.
TEST(GraphTest, CheckWithNothingPendingIsTrueAndChangesNothing) {
  GraphUnderTest t;
  EXPECT_TRUE(t.graph.check(true));
  t.tell(1, 1, 1, -1);
  ASSERT_FALSE(t.activate({1}));
  t.pop({1});

  EXPECT_TRUE(t.graph.check(true));
  EXPECT_TRUE(t.graph.check(false));

  EXPECT_EQ(t.cur_conflict(), EdgeIds{2});
  EXPECT_EQ(Inspector::num_conflicts(t.graph), 1U);
}

// There is no cheaper check behind the flag.
TEST(GraphTest, CheckIgnoresItsFlag) {
  for (const bool flag : {false, true}) {
    GraphUnderTest t;
    t.tell(1, 1, 2, -1);
    t.tell(2, 2, 1, 0);
    t.push({1});
    EXPECT_TRUE(t.graph.check(flag));
    t.push({2});
    EXPECT_FALSE(t.graph.check(flag));
    EXPECT_EQ(t.cur_conflict(), (EdgeIds{4, 2}));
  }
}

// After success nothing is pending and every edge is active, in queue order.
TEST(GraphTest, CheckActivatesAllPendingEdgesInOrder) {
  GraphUnderTest t;
  for (const int k : {1, 2, 3}) t.tell(k, 1, k + 1, 0);

  EXPECT_TRUE(t.activate({3, 1, 2}));

  EXPECT_EQ(t.pending(), EdgeIds());
  EXPECT_EQ(t.active(1), (EdgeIds{6, 2, 4}));
  EXPECT_EQ(t.notified(1), EdgeIds());
}

// The edges behind a failing one were not looked at and stay queued with it.
TEST(GraphTest, CheckKeepsTheFailingEdgeAndThoseBehindItPending) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 1, -2);
  t.tell(3, 1, 3, -7);

  EXPECT_FALSE(t.activate({1, 2, 3}));

  EXPECT_EQ(t.pending(), (EdgeIds{4, 6}));
  EXPECT_EQ(t.active(1), EdgeIds{2});
  EXPECT_EQ(t.notified(1), EdgeIds{6});
  EXPECT_EQ(t.notified(2), EdgeIds{4});
  EXPECT_EQ(t.potential(3), "0");
  EXPECT_EQ(Inspector::num_conflicts(t.graph), 1U);
}

// The host goes on after taking the failing constraint back.
TEST(GraphTest, CheckGoesOnAfterTheFailingConstraintIsPopped) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 1, -2);
  t.tell(3, 1, 3, -7);
  ASSERT_FALSE(t.activate({1, 2, 3}));

  t.pop({2, 3});

  EXPECT_EQ(t.pending(), EdgeIds());
  EXPECT_TRUE(t.activate({3}));
  EXPECT_EQ(t.active(1), (EdgeIds{2, 6}));
  EXPECT_EQ(t.potential(3), "-7");
}

// x - x <= 0 says nothing and is fine.
TEST(GraphTest, CheckOfZeroSelfLoopSucceedsAndLowersNothing) {
  GraphUnderTest t;
  t.tell(3, 1, 1, 0);

  EXPECT_TRUE(t.activate({3}));

  EXPECT_EQ(t.potential(1), "0");
  EXPECT_EQ(t.pred(1), -1);
  EXPECT_EQ(t.active(1), EdgeIds{6});
}

// x - x <= -1 and x - x < 0 contradict themselves.
TEST(GraphTest, CheckOfNegativeSelfLoopFailsWithTheEdgeAlone) {
  for (const auto& [r, eps] : {std::pair{-1, 0}, {0, -1}, {-1, 5}}) {
    GraphUnderTest t;
    t.tell(3, 1, 1, r, eps);

    EXPECT_FALSE(t.activate({3}));

    EXPECT_EQ(t.cur_conflict(), EdgeIds{6});
    EXPECT_EQ(t.active(1), EdgeIds());
    EXPECT_EQ(t.potential(1), "0");
  }
}

// The search for a cycle ends at the first lowering of the source, also when a
// self loop comes back on a graph with many edges.
TEST(GraphTest, CheckOfNegativeSelfLoopIgnoresOtherEdgesOfTheNode) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 0);
  t.tell(2, 2, 1, 0);
  t.tell(3, 1, 1, -1);
  ASSERT_TRUE(t.activate({1, 2}));

  EXPECT_FALSE(t.activate({3}));

  EXPECT_EQ(t.cur_conflict(), EdgeIds{6});
  EXPECT_EQ(t.potential(2), "0");
}

// A cycle of sum 0 is consistent.
TEST(GraphTest, CheckOfZeroCycleSucceeds) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 1, -1);

  EXPECT_TRUE(t.activate({1}));
  EXPECT_TRUE(t.activate({2}));

  EXPECT_EQ(t.active(2), EdgeIds{4});
}

// An infinitesimal makes the difference, and the new edge comes first.
TEST(GraphTest, CheckOfStrictZeroCycleFailsNewEdgeFirst) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 1, -1, -1);

  EXPECT_TRUE(t.activate({1}));
  EXPECT_FALSE(t.activate({2}));

  EXPECT_EQ(t.cur_conflict(), (EdgeIds{4, 2}));
}

// Eps coefficients are summed too: +eps and -eps cancel, 2 against 1 do not.
TEST(GraphTest, CheckSumsEpsCoefficientsExactly) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 1, 1);
  t.tell(2, 2, 1, -1, -1);
  t.tell(3, 2, 1, -1, -2);

  EXPECT_TRUE(t.activate({1, 2}));
  EXPECT_FALSE(t.activate({3}));

  EXPECT_EQ(t.cur_conflict(), (EdgeIds{6, 2}));
}

// A successful run commits every lowered potential, and only those.
TEST(GraphTest, CheckCommitsLoweredPotentials) {
  GraphUnderTest t;
  t.tell(1, 2, 3, -2);
  t.tell(2, 3, 4, 9);
  t.tell(3, 1, 2, -3);
  ASSERT_TRUE(t.activate({1, 2}));
  ASSERT_EQ(t.potential(3), "-2");

  EXPECT_TRUE(t.activate({3}));

  EXPECT_EQ(t.potential(1), "0");
  EXPECT_EQ(t.potential(2), "-3");
  EXPECT_EQ(t.potential(3), "-5");
  EXPECT_EQ(t.potential(4), "0");
}

// Which edge lowered a node is on record; a node that was not keeps its entry.
TEST(GraphTest, CheckRecordsTheLoweringEdgeOfEachNode) {
  GraphUnderTest t;
  t.tell(1, 2, 3, -2);
  t.tell(2, 1, 2, -3);
  t.tell(3, 1, 3, 0);

  ASSERT_TRUE(t.activate({2, 3}));
  EXPECT_EQ(t.pred(2), 4);
  EXPECT_EQ(t.pred(3), -1);
  ASSERT_TRUE(t.activate({1}));

  EXPECT_EQ(t.pred(3), 2);
  EXPECT_EQ(t.pred(1), -1);
}

// An edge that holds already becomes active and lowers nothing. Equality is
// enough to hold.
TEST(GraphTest, CheckOfSatisfiedEdgeLowersNothing) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -4);
  t.tell(2, 1, 2, -4);
  t.tell(3, 1, 2, 7);

  EXPECT_TRUE(t.activate({1, 2, 3}));

  EXPECT_EQ(t.potential(2), "-4");
  EXPECT_EQ(t.pred(2), 2);
  EXPECT_EQ(t.active(1), (EdgeIds{2, 4, 6}));
}

// Only active edges are relaxed: registered and pending ones are not in force.
TEST(GraphTest, CheckFollowsActiveEdgesOnly) {
  GraphUnderTest t;
  t.tell(1, 2, 3, -2);
  t.tell(2, 1, 2, -3);
  t.tell(3, 2, 4, -2);

  EXPECT_TRUE(t.activate({2}));
  EXPECT_EQ(t.potential(3), "0");

  t.push({3});
  EXPECT_EQ(t.potential(4), "0");
}

// A node can be lowered again by a longer way; the edges behind it have to be
// relaxed again, too.
TEST(GraphTest, CheckRelaxesEdgesAsOftenAsNeeded) {
  GraphUnderTest t;
  t.tell(1, 2, 3, -1);
  t.tell(2, 2, 4, 0);
  t.tell(3, 4, 3, -9);
  t.tell(4, 3, 5, 0);
  ASSERT_TRUE(t.activate({1, 2, 4}));
  t.tell(5, 1, 2, -100);
  ASSERT_TRUE(t.activate({3}));

  EXPECT_TRUE(t.activate({5}));

  EXPECT_EQ(t.potential(2), "-100");
  EXPECT_EQ(t.potential(4), "-100");
  EXPECT_EQ(t.potential(3), "-109");
  EXPECT_EQ(t.potential(5), "-109");
  EXPECT_EQ(t.pred(3), 6);
}

// A failing run leaves the potentials as they were before the failing edge,
// and the edges before it in the queue in force.
TEST(GraphTest, CheckRollsBackTheFailingEdgeOnly) {
  GraphUnderTest t;
  t.tell(1, 2, 3, -2);
  t.tell(2, 3, 1, -2);
  t.tell(3, 2, 4, -6);
  t.tell(4, 1, 2, 3);
  ASSERT_TRUE(t.activate({1, 3}));

  EXPECT_FALSE(t.activate({2, 4}));

  EXPECT_EQ(t.potential(1), "-4");
  EXPECT_EQ(t.potential(2), "0");
  EXPECT_EQ(t.potential(3), "-2");
  EXPECT_EQ(t.potential(4), "-6");
  EXPECT_EQ(t.cur_conflict(), (EdgeIds{8, 2, 4}));
}

// A node that was lowered twice in the failing run goes back all the way.
TEST(GraphTest, CheckRollsBackNodesLoweredMoreThanOnce) {
  GraphUnderTest t;
  t.tell(1, 2, 3, -1);
  t.tell(2, 2, 4, 0);
  t.tell(3, 4, 3, -9);
  t.tell(4, 3, 5, 0);
  t.tell(5, 5, 6, 0);
  t.tell(6, 6, 7, 0);
  t.tell(7, 7, 1, 0);
  t.tell(8, 1, 2, -100);
  ASSERT_TRUE(t.activate({1, 2, 4, 5, 6, 7}));
  ASSERT_TRUE(t.activate({3}));
  std::vector<std::string> before;
  for (int n = 1; n <= 7; ++n) before.push_back(t.potential(n));

  EXPECT_FALSE(t.activate({8}));

  for (int n = 1; n <= 7; ++n) {
    EXPECT_EQ(t.potential(n), before[static_cast<std::size_t>(n - 1)]) << n;
  }
}

// What lowered a node in a failing run stays on record; popping the edge
// clears it.
TEST(GraphTest, CheckKeepsPredEdgesOfAFailingRun) {
  GraphUnderTest t;
  t.tell(1, 2, 3, 0);
  t.tell(2, 3, 1, 0);
  t.tell(3, 1, 2, -1);
  ASSERT_TRUE(t.activate({1, 2}));

  EXPECT_FALSE(t.activate({3}));

  EXPECT_EQ(t.pred(2), 6);
  EXPECT_EQ(t.pred(3), 2);
  EXPECT_EQ(t.pred(1), 4);
}

// The conflict is the cycle in edge direction, from the new edge on; edges that
// lowered nodes off the cycle are not part of it.
TEST(GraphTest, ConflictListsTheCycleInEdgeDirectionFromTheNewEdge) {
  GraphUnderTest t;
  t.tell(1, 4, 1, 0);
  t.tell(2, 2, 3, 0);
  t.tell(3, 3, 4, 0);
  t.tell(4, 2, 5, 0);
  t.tell(5, 3, 5, -1);
  t.tell(6, 1, 2, -1);
  ASSERT_TRUE(t.activate({1, 2, 3, 4, 5}));

  EXPECT_FALSE(t.activate({6}));

  EXPECT_EQ(t.cur_conflict(), (EdgeIds{12, 4, 6, 2}));
}

// Two negative cycles through the new edge: first in, first out finds the one
// with fewer edges, although the other one's first edge was relaxed before.
TEST(GraphTest, CheckRelaxesFirstInFirstOut) {
  GraphUnderTest t;
  t.tell(1, 2, 3, 0);
  t.tell(2, 2, 4, 0);
  t.tell(3, 3, 5, 0);
  t.tell(4, 5, 1, 0);
  t.tell(5, 4, 1, 0);
  t.tell(6, 1, 2, -10);
  ASSERT_TRUE(t.activate({1, 2, 3, 4, 5}));

  EXPECT_FALSE(t.activate({6}));

  EXPECT_EQ(t.cur_conflict(), (EdgeIds{12, 4, 10}));
}

// Among cycles of one length the edge that was activated first decides,
// whatever its id.
TEST(GraphTest, CheckRelaxesTheEdgesOfANodeInActivationOrder) {
  GraphUnderTest t;
  t.tell(1, 2, 3, 0);
  t.tell(2, 2, 4, 0);
  t.tell(3, 3, 1, 0);
  t.tell(4, 4, 1, 0);
  t.tell(6, 1, 2, -10);
  ASSERT_TRUE(t.activate({2, 1, 3, 4}));

  EXPECT_FALSE(t.activate({6}));

  EXPECT_EQ(t.cur_conflict(), (EdgeIds{12, 4, 8}));
}

// The first negative cycle that closes is reported, not the most negative.
TEST(GraphTest, CheckStopsAtTheFirstLoweringOfTheSource) {
  GraphUnderTest t;
  t.tell(1, 2, 1, 0);
  t.tell(2, 2, 3, -50);
  t.tell(3, 3, 1, -50);
  t.tell(4, 1, 2, 100);
  t.tell(5, 1, 2, -1);
  ASSERT_TRUE(t.activate({4, 1, 2, 3}));

  // The cycle over node 3 sums to -101, the direct one to -1.
  EXPECT_FALSE(t.activate({5}));

  EXPECT_EQ(t.cur_conflict(), (EdgeIds{10, 2}));
}

// The cycle that is detected must not depend on what lowered nodes in earlier
// runs.
TEST(GraphTest, ConflictUsesThePredEdgesOfItsOwnRun) {
  GraphUnderTest t;
  t.tell(1, 2, 3, -1);
  t.tell(2, 4, 3, -5);
  t.tell(3, 3, 1, 5);
  t.tell(4, 1, 2, -20);
  ASSERT_TRUE(t.activate({1, 2, 3}));
  ASSERT_EQ(t.pred(3), 4);

  EXPECT_FALSE(t.activate({4}));

  EXPECT_EQ(t.cur_conflict(), (EdgeIds{8, 2, 6}));
}

// The lemma search compares with the conflict before.
TEST(GraphTest, NewConflictMovesTheOldOneToPrevious) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 1, -2);
  t.tell(3, 3, 3, -1);
  ASSERT_FALSE(t.activate({1, 2}));
  EXPECT_EQ(t.prev_conflict(), EdgeIds());
  t.pop({2});

  ASSERT_FALSE(t.activate({3}));

  EXPECT_EQ(t.cur_conflict(), EdgeIds{6});
  EXPECT_EQ(t.prev_conflict(), (EdgeIds{4, 2}));
  t.pop({3});
  ASSERT_FALSE(t.activate({3}));
  EXPECT_EQ(t.prev_conflict(), EdgeIds{6});
}

// A successful check leaves the last two conflicts alone.
TEST(GraphTest, SuccessfulCheckKeepsTheConflicts) {
  GraphUnderTest t;
  t.tell(1, 1, 1, -1);
  t.tell(2, 1, 2, -1);
  ASSERT_FALSE(t.activate({1}));
  t.pop({1});

  ASSERT_TRUE(t.activate({2}));

  EXPECT_EQ(t.cur_conflict(), EdgeIds{2});
  EXPECT_EQ(t.prev_conflict(), EdgeIds());
}

// One edge, one conflict, one count.
TEST(GraphTest, EachFailingEdgeCountsOneConflict) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -1);
  t.tell(2, 2, 1, -1);
  t.tell(3, 3, 3, -1);
  Inspector::do_check_edge(t.graph, 2);
  EXPECT_EQ(Inspector::num_conflicts(t.graph), 0U);

  EXPECT_FALSE(Inspector::do_check_edge(t.graph, 4));
  EXPECT_EQ(Inspector::num_conflicts(t.graph), 1U);
  EXPECT_FALSE(Inspector::do_check_edge(t.graph, 6));
  EXPECT_EQ(Inspector::num_conflicts(t.graph), 2U);
}

// When lemmas are made, the conflict is recorded and counted and the
// potentials are rolled back: a host may look at the graph from its term
// manager.
TEST(GraphTest, LemmaSearchRunsOnceAndLast) {
  GraphUnderTest t;
  t.config.dl_tlemma_kinds = 3;
  t.config.dl_tlemma_min_overlap = 0.0F;
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 1, -4);
  t.tell(3, 1, 2, 2);
  ASSERT_TRUE(t.activate({2}));
  ASSERT_FALSE(t.activate({1}));
  EXPECT_EQ(Inspector::num_tlemma_searches(t.graph), 0U);
  t.pop({1});
  int requests = 0;
  t.terms.on_request = [&t, &requests] {
    ++requests;
    EXPECT_EQ(Inspector::num_conflicts(t.graph), 2U);
    EXPECT_EQ(t.cur_conflict(), (EdgeIds{6, 4}));
    EXPECT_EQ(t.prev_conflict(), (EdgeIds{2, 4}));
    EXPECT_EQ(t.potential(1), "-4");
    EXPECT_EQ(t.potential(2), "0");
    EXPECT_EQ(t.pending(), EdgeIds{6});
    EXPECT_EQ(t.active(1), EdgeIds());
  };

  EXPECT_FALSE(t.activate({3}));

  EXPECT_GT(requests, 0);
  EXPECT_EQ(Inspector::num_tlemma_searches(t.graph), 1U);
}

// Many edges from one node: the queue of a run has no fixed size.
TEST(GraphTest, CheckLowersManyNodesInOneRun) {
  constexpr int kWide = 1000;
  GraphUnderTest t;
  t.tell(1, 1, 2, -1);
  for (int k = 2; k < kWide; ++k) {
    t.tell(k, 2, k + 1, -k);
    t.push({k});
  }
  ASSERT_TRUE(t.graph.check(true));

  EXPECT_TRUE(t.activate({1}));

  for (int k = 2; k < kWide; ++k) {
    EXPECT_EQ(t.potential(k + 1), std::to_string(-k - 1));
  }
}

// A long cycle is found and explained as a whole.
TEST(GraphTest, CheckFindsACycleThroughAThousandNodes) {
  constexpr int kLength = 1000;
  GraphUnderTest t;
  EdgeIds cycle;
  for (int k = 1; k < kLength; ++k) {
    t.tell(k, k, k + 1, k % 2 == 0 ? 1 : -1);
    t.push({k});
    cycle.push_back(2 * k);
  }
  t.tell(kLength, kLength, 1, 0);
  ASSERT_TRUE(t.graph.check(true));

  EXPECT_FALSE(t.activate({kLength}));

  cycle.insert(cycle.begin(), 2 * kLength);
  EXPECT_EQ(t.cur_conflict(), cycle);
}

// Sums that leave the machine word must not wrap round: here they would turn
// a positive cycle into a negative one and the other way round.
TEST(GraphTest, CheckIsExactBeyondTheMachineWord) {
  const std::string most =
      std::to_string(std::numeric_limits<std::int64_t>::max());
  GraphUnderTest t;
  t.graph.tell_edge(1, Edge(1, 2, number(most), 0));
  t.graph.tell_edge(2, Edge(2, 3, number(most), 0));
  t.graph.tell_edge(3, Edge(3, 1, number("-18446744073709551614"), 0));
  t.graph.tell_edge(4, Edge(3, 1, number("-18446744073709551615"), 0));

  EXPECT_TRUE(t.activate({1, 2, 3}));
  EXPECT_EQ(t.potential(1), "-18446744073709551614");
  EXPECT_EQ(t.potential(2), "-9223372036854775807");
  EXPECT_FALSE(t.activate({4}));

  EXPECT_EQ(t.cur_conflict(), (EdgeIds{8, 2, 4}));
}

// Three thirds are one.
TEST(GraphTest, CheckIsExactOnFractions) {
  GraphUnderTest t;
  for (int k = 1; k <= 3; ++k) {
    t.graph.tell_edge(k, Edge(k, k + 1, number("1/3"), 0));
  }
  t.graph.tell_edge(4, Edge(4, 1, number("-1"), 0));
  t.graph.tell_edge(5, Edge(4, 1, number("-1000000000001/1000000000000"), 0));

  EXPECT_TRUE(t.activate({1, 2, 3, 4}));
  EXPECT_FALSE(t.activate({5}));
}

/// A graph that is checked once more, found right or not, when it is destroyed.
class CheckedAtTheEnd {
 public:
  CheckedAtTheEnd() {
    for (int k = 1; k <= kLength; ++k) {
      graph_.tell_edge(k, edge(k, k + 1, -1));
    }
    graph_.tell_edge(kLength + 1, edge(kLength + 1, 1, kLength - 1));
  }
  CheckedAtTheEnd(const CheckedAtTheEnd&) = delete;
  CheckedAtTheEnd& operator=(const CheckedAtTheEnd&) = delete;
  ~CheckedAtTheEnd() {
    // The end of the process looks for leaks no more, so its status is ours.
    if (!is_right()) std::_Exit(1);
  }

  /// Lowers many nodes, finds a conflict, and takes all back.
  bool is_right() {
    for (int k = kLength; k > 0; --k) graph_.push_edge(k);
    bool right = graph_.check(true);
    graph_.push_edge(kLength + 1);
    right = !graph_.check(true) && right;
    std::vector<int> conflict;
    graph_.get_conflict_set(&conflict);
    right = right && conflict.size() == kLength + 1;
    graph_.pop_edge(kLength + 1);
    for (int k = 1; k <= kLength; ++k) graph_.pop_edge(k);
    return right;
  }

 private:
  static constexpr int kLength = 200;

  Configuration::Theory::La config_;
  Graph graph_{&config_, nullptr, nullptr};
};

// By then whatever belongs to the main thread is gone, and its memory reused.
[[noreturn]] void end_with_a_static_graph() {
  { const CheckedAtTheEnd early; }
  static CheckedAtTheEnd late;
  std::exit(late.is_right() ? 0 : 1);
}

// A host may keep a graph in a static object, and ask it in destructors.
TEST(GraphDeathTest, GraphOfStaticStorageChecksWhileStaticsAreDestroyed) {
  EXPECT_EXIT(end_with_a_static_graph(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vorn::dl
