// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "tests/dl/graph_under_test.h"
#include "vorn/dl/graph.h"

namespace vorn::dl {
namespace {

using dl_test::edge;
using dl_test::EdgeIds;
using dl_test::GraphUnderTest;
using dl_test::LoggingGraph;

// The host thinks in constraints, in the order of the cycle.
TEST(GraphTest, GetConflictSetHalvesEdgeIdsInCycleOrder) {
  GraphUnderTest t;
  t.cur_conflict() = {6, 3, 9};
  std::vector<int> out;

  EXPECT_TRUE(t.graph.get_conflict_set(&out));

  EXPECT_EQ(out, (std::vector<int>{3, 1, 4}));
}

// Both edges of a pair on the cycle: the constraint appears twice.
TEST(GraphTest, GetConflictSetKeepsDuplicates) {
  GraphUnderTest t;
  t.cur_conflict() = {4, 5};

  EXPECT_EQ(t.conflict_set(), (std::vector<int>{2, 2}));
}

// A conflict found by a check, end to end.
TEST(GraphTest, GetConflictSetNamesTheConstraintsOfTheCycle) {
  GraphUnderTest t;
  t.graph.tell_bi_edge(4, edge(1, 2, 3), edge(2, 1, -3));
  t.tell(5, 2, 3, 0);
  t.tell(7, 3, 1, -4);
  ASSERT_TRUE(t.activate({4, 5}));

  ASSERT_FALSE(t.activate({7}));

  EXPECT_EQ(t.conflict_set(), (std::vector<int>{7, 4, 5}));
}

// Asking consumes nothing.
TEST(GraphTest, GetConflictSetTwiceReturnsTheSameList) {
  GraphUnderTest t;
  t.cur_conflict() = {6, 3, 9};

  EXPECT_EQ(t.conflict_set(), (std::vector<int>{3, 1, 4}));
  EXPECT_EQ(t.conflict_set(), (std::vector<int>{3, 1, 4}));
  EXPECT_EQ(t.cur_conflict(), (EdgeIds{6, 3, 9}));
}

// No conflict is an empty list, not an error; what the caller had is gone.
TEST(GraphTest, GetConflictSetWithoutConflictEmptiesTheList) {
  GraphUnderTest t;
  std::vector<int> out = {1, 2, 3};

  EXPECT_TRUE(t.graph.get_conflict_set(&out));

  EXPECT_EQ(out, std::vector<int>());
}

// The two buffers go round instead of being allocated for each conflict.
TEST(GraphTest, GetConflictSetSwapsStorageWithTheCaller) {
  GraphUnderTest t;
  t.cur_conflict() = {6, 3, 9};
  std::vector<int> out = {8, 8, 8, 8, 8};
  const int* const callers = out.data();

  t.graph.get_conflict_set(&out);
  const int* const graphs = out.data();

  EXPECT_EQ(Inspector::conflict_out(t.graph).data(), callers);
  EXPECT_EQ(Inspector::conflict_out(t.graph), (EdgeIds{8, 8, 8, 8, 8}));
  t.graph.get_conflict_set(&out);
  EXPECT_EQ(out.data(), callers);
  EXPECT_EQ(Inspector::conflict_out(t.graph).data(), graphs);
  EXPECT_EQ(out, (std::vector<int>{3, 1, 4}));
}

// Callers must accept that there is no proof.
TEST(GraphTest, GetConflictProofIsNull) {
  GraphUnderTest t;
  EXPECT_EQ(t.graph.get_conflict_proof(), nullptr);
  t.tell(1, 1, 1, -1);
  ASSERT_FALSE(t.activate({1}));

  EXPECT_EQ(t.graph.get_conflict_proof(), nullptr);
}

// An empty graph violates nothing.
TEST(GraphTest, HasNegativeCycleIsFalseWithoutEdges) {
  GraphUnderTest t;

  EXPECT_FALSE(t.graph.has_negative_cycle(Graph::Potentials()));
}

// With all potentials 0 an edge is violated exactly if its weight is negative.
TEST(GraphTest, HasNegativeCycleAtZeroAsksForTheSignOfTheWeight) {
  struct Case {
    int r;
    int eps;
    bool negative;
  };
  for (const Case& c : {Case{-1, 0, true}, Case{-1, 9, true}, Case{0, -1, true},
                        Case{0, 0, false}, Case{0, 1, false}, Case{1, 0, false},
                        Case{1, -9, false}}) {
    GraphUnderTest t;
    t.tell(1, 2, 3, 5);
    t.tell(2, 1, 2, c.r, c.eps);
    ASSERT_TRUE(t.activate({1, 2}));

    EXPECT_EQ(t.graph.has_negative_cycle(Graph::Potentials()), c.negative)
        << c.r << " " << c.eps;
  }
}

// A potential that satisfies every edge, equality included, proves that there
// is no negative cycle; one step less on any edge does not.
TEST(GraphTest, HasNegativeCycleTestsEveryActiveEdge) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -2);
  t.tell(2, 1, 3, -5);
  t.tell(3, 3, 1, 5);
  t.tell(4, 4, 4, 0);
  ASSERT_TRUE(t.activate({1, 2, 3, 4}));
  Graph::Potentials pi;
  pi[1] = la::DNumber(7, 0);
  pi[2] = la::DNumber(5, 0);
  pi[3] = la::DNumber(2, 0);
  pi[4] = la::DNumber(-3, 0);

  EXPECT_FALSE(t.graph.has_negative_cycle(pi));

  pi[2] = la::DNumber(5, 1);
  EXPECT_TRUE(t.graph.has_negative_cycle(pi));
  pi[2] = la::DNumber(4, 0);
  EXPECT_FALSE(t.graph.has_negative_cycle(pi));
  pi[3] = la::DNumber(3, 0);
  EXPECT_TRUE(t.graph.has_negative_cycle(pi));
  pi[3] = la::DNumber(1, 0);
  EXPECT_TRUE(t.graph.has_negative_cycle(pi));
}

// Registered and pending edges are not asserted.
TEST(GraphTest, HasNegativeCycleLooksAtActiveEdgesOnly) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -2);
  EXPECT_FALSE(t.graph.has_negative_cycle(Graph::Potentials()));
  t.push({1});
  EXPECT_FALSE(t.graph.has_negative_cycle(Graph::Potentials()));

  ASSERT_TRUE(t.graph.check(true));
  EXPECT_TRUE(t.graph.has_negative_cycle(Graph::Potentials()));

  t.pop({1});
  EXPECT_FALSE(t.graph.has_negative_cycle(Graph::Potentials()));
}

// A documented effect on a map that is only lent: nodes that were read become
// present.
TEST(GraphTest, HasNegativeCycleMakesTheNodesItReadsPresent) {
  GraphUnderTest t;
  t.tell(1, 1, 200, 0);
  ASSERT_TRUE(t.activate({1}));
  const Graph::Potentials pi;

  EXPECT_FALSE(t.graph.has_negative_cycle(pi));

  EXPECT_TRUE(pi.contains(1));
  EXPECT_TRUE(pi.contains(200));
  EXPECT_FALSE(pi.contains(100));
}

// The probe ends at the first violated edge.
TEST(GraphTest, HasNegativeCycleStopsAtTheFirstViolatedEdge) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -2);
  t.tell(2, 3, 4, 0);
  ASSERT_TRUE(t.activate({1, 2}));
  const Graph::Potentials pi;

  EXPECT_TRUE(t.graph.has_negative_cycle(pi));

  EXPECT_TRUE(pi.contains(2));
  EXPECT_FALSE(pi.contains(4));
}

// Tagged potentials absorb a weight: nothing lies above infinity, and nothing
// below minus infinity.
TEST(GraphTest, HasNegativeCycleTakesTaggedPotentials) {
  la::DNumber::num_repr above(1, 0, 1);
  la::DNumber::num_repr below(0, 0, 1);
  const la::DNumber infinity = la::DNumber::tagged(above);
  const la::DNumber minus_infinity = la::DNumber::tagged(below);
  GraphUnderTest t;
  t.tell(1, 1, 2, -2);
  ASSERT_TRUE(t.activate({1}));
  const auto violated = [&t](const la::DNumber& source,
                             const la::DNumber& target) {
    Graph::Potentials pi;
    pi[1] = source;
    pi[2] = target;
    return t.graph.has_negative_cycle(pi);
  };

  EXPECT_FALSE(violated(infinity, la::DNumber(5, 0)));
  EXPECT_FALSE(violated(infinity, infinity));
  EXPECT_TRUE(violated(la::DNumber(5, 0), infinity));
  EXPECT_TRUE(violated(minus_infinity, la::DNumber(5, 0)));
  EXPECT_FALSE(violated(la::DNumber(5, 0), minus_infinity));
}

/// What do_synch_conflicts makes of two cycles.
struct Synched {
  std::size_t off_cur;
  std::size_t off_prev;
  Inspector::NodePairs nodes;
};

Synched synch(GraphUnderTest& t, const EdgeIds& cur, const EdgeIds& prev,
              std::size_t off_cur = 0, std::size_t off_prev = 0) {
  t.cur_conflict() = cur;
  t.prev_conflict() = prev;
  Synched result{off_cur, off_prev, {}};
  Inspector::do_synch_conflicts(t.graph, cur.size(), prev.size(),
                                result.off_cur, result.off_prev, result.nodes);
  return result;
}

using Leaving = std::pair<int, int>;

// The lemma walk starts where the cycles part, at either's own edge.
TEST(GraphTest, SynchConflictsStartsAtTheNodeWhereTheCyclesPart) {
  GraphUnderTest t;
  t.tell(1, 1, 4, 0);
  t.tell(2, 4, 5, 0);
  t.tell(3, 4, 5, 0);
  t.tell(4, 5, 1, 0);

  const Synched s = synch(t, {2, 4, 8}, {8, 2, 6});

  EXPECT_EQ(s.off_cur, 1U);
  EXPECT_EQ(s.off_prev, 2U);
}

// Each node gets the edges by which the cycles leave it, 0 for none.
TEST(GraphTest, SynchConflictsMapsNodesToLeavingEdges) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 0);
  t.tell(2, 2, 1, 0);
  t.tell(3, 2, 3, 0);
  t.tell(4, 3, 1, 0);
  t.tell(5, 1, 4, 0);
  t.tell(6, 4, 2, 0);

  const Synched s = synch(t, {2, 4}, {6, 8, 10, 12});

  EXPECT_EQ(s.nodes[1], Leaving(2, 10));
  EXPECT_EQ(s.nodes[2], Leaving(4, 6));
  EXPECT_EQ(s.nodes[3], Leaving(0, 8));
  EXPECT_EQ(s.nodes[4], Leaving(0, 12));
  EXPECT_FALSE(s.nodes.contains(0));
}

// Of several such nodes the last one in the order of the previous cycle wins.
TEST(GraphTest, SynchConflictsTakesTheLastPartingOfThePreviousCycle) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 0);
  t.tell(2, 2, 3, 0);
  t.tell(3, 3, 1, 0);
  t.tell(4, 1, 2, 0);
  t.tell(5, 3, 1, 0);

  const Synched s = synch(t, {2, 4, 6}, {8, 4, 10});
  EXPECT_EQ(s.off_cur, 2U);
  EXPECT_EQ(s.off_prev, 2U);

  const Synched turned = synch(t, {2, 4, 6}, {10, 8, 4});
  EXPECT_EQ(turned.off_cur, 0U);
  EXPECT_EQ(turned.off_prev, 1U);
}

// Edge id 0 reads as "no edge" on the current cycle; that node is not chosen.
TEST(GraphTest, SynchConflictsDoesNotStartAtEdgeZeroOfTheCurrentCycle) {
  GraphUnderTest t;
  t.tell(0, 4, 1, 0);
  t.tell(1, 1, 4, 0);
  t.tell(2, 4, 1, 0);
  t.tell(3, 1, 4, 0);

  const Synched none = synch(t, {2, 0}, {4, 2});
  EXPECT_EQ(none.nodes[4], Leaving(0, 4));
  EXPECT_EQ(none.off_cur, 0U);
  EXPECT_EQ(none.off_prev, 1U);

  const Synched other = synch(t, {2, 0}, {6, 4});
  EXPECT_EQ(other.off_cur, 0U);
  EXPECT_EQ(other.off_prev, 0U);
}

// Edge id 0 on the previous cycle is different from the current one's edge.
TEST(GraphTest, SynchConflictsStartsAtEdgeZeroOfThePreviousCycle) {
  GraphUnderTest t;
  t.tell(0, 4, 1, 0);
  t.tell(1, 1, 4, 0);
  t.tell(2, 4, 1, 0);

  const Synched s = synch(t, {2, 4}, {0, 2});

  EXPECT_EQ(s.off_cur, 1U);
  EXPECT_EQ(s.off_prev, 0U);
}

// Cycles that part nowhere: the walk starts at the current one's first edge.
TEST(GraphTest, SynchConflictsAlignsACycleWithItself) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 0);
  t.tell(2, 2, 3, 0);
  t.tell(3, 3, 1, 0);

  const Synched s = synch(t, {4, 6, 2}, {2, 4, 6});

  EXPECT_EQ(s.off_cur, 0U);
  EXPECT_EQ(s.off_prev, 1U);
}

// Cycles without a common node have nothing to align.
TEST(GraphTest, SynchConflictsOfUnrelatedCyclesStartsAtTheirFronts) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 0);
  t.tell(2, 2, 1, 0);
  t.tell(3, 3, 4, 0);
  t.tell(4, 4, 3, 0);

  const Synched s = synch(t, {2, 4}, {6, 8});

  EXPECT_EQ(s.off_cur, 0U);
  EXPECT_EQ(s.off_prev, 0U);
}

// No current cycle: nothing is looked up.
TEST(GraphTest, SynchConflictsWithoutCurrentCycleStartsAtTheFronts) {
  GraphUnderTest t;
  t.tell(1, 1, 1, 0);

  const Synched s = synch(t, {}, {2});

  EXPECT_EQ(s.off_cur, 0U);
  EXPECT_EQ(s.off_prev, 0U);
  EXPECT_EQ(s.nodes[1], Leaving(0, 2));
}

// Edges before the offsets that come in are left out.
TEST(GraphTest, SynchConflictsReadsTheCyclesFromTheGivenOffsets) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 0);
  t.tell(2, 2, 1, 0);
  t.tell(3, 1, 2, 0);
  t.tell(4, 2, 1, 0);

  const Synched s = synch(t, {2, 4}, {8, 6}, 1, 1);

  EXPECT_EQ(s.nodes[1], Leaving(0, 6));
  EXPECT_EQ(s.nodes[2], Leaving(4, 0));
}

/// In conflict.
struct LoggingConflict : LoggingGraph {
  explicit LoggingConflict(int verbosity) : LoggingGraph(verbosity) {
    tell(1, 1, 2, -1);
    graph.tell_bi_edge(2, edge(2, 1, 0, -1), edge(3, 3, -7));
    EXPECT_TRUE(activate({1}));
    EXPECT_FALSE(activate({2}));
  }
};

// One record per conflict; the labels are padded to one width.
TEST(GraphTest, DumpConflictSetsLogsBothConflicts) {
  LoggingConflict t(2);

  t.graph.dump_conflict_sets();

  EXPECT_EQ(t.out.str(),
            "DL(graph) - cur_conflict_:  { x2 -[0 - eps]-> x1 [id: 2001], "
            "x1 -[-1]-> x2 [id: 1002] }\n"
            "DL(graph) - prev_conflict_: { }\n");
}

// After the next conflict, and after a reset, the older one is the previous.
TEST(GraphTest, DumpConflictSetsAfterResetStillShowsThePreviousConflict) {
  LoggingConflict t(2);
  t.tell(3, 3, 3, -7);
  t.pop({2});
  ASSERT_FALSE(t.activate({3}));
  t.graph.reset(false);

  std::vector<int> out = {5};
  EXPECT_TRUE(t.graph.get_conflict_set(&out));
  EXPECT_EQ(out, std::vector<int>());
  t.graph.dump_conflict_sets();

  // The edges are unknown by now; their ids are still on record.
  EXPECT_EQ(t.prev_conflict(), (EdgeIds{4, 2}));
  EXPECT_EQ(t.out.str(),
            "DL(graph) - cur_conflict_:  { }\n"
            "DL(graph) - prev_conflict_: { x-1 -[0]-> x-1 [id: -1], "
            "x-1 -[0]-> x-1 [id: -1] }\n");
}

// The messages have level 2 and the tag "DL".
TEST(GraphTest, DumpConflictSetsRespectsTheLogger) {
  LoggingConflict quiet(1);
  quiet.graph.dump_conflict_sets();
  EXPECT_EQ(quiet.out.str(), "");

  LoggingConflict suppressed(2);
  suppressed.logger.switch_off("DL");
  suppressed.graph.dump_conflict_sets();
  EXPECT_EQ(suppressed.out.str(), "");
  suppressed.logger.switch_on("DL");
  suppressed.graph.dump_conflict_sets();
  EXPECT_NE(suppressed.out.str(), "");
}

// The level of the messages is the graph's, not a constant.
TEST(GraphTest, DumpConflictSetsUsesTheGraphsLogLevel) {
  LoggingConflict t(2);
  Inspector::loglevel(t.graph) = 3;

  t.graph.dump_conflict_sets();

  EXPECT_EQ(t.out.str(), "");
}

// No logger, no message, no change.
TEST(GraphTest, DumpConflictSetsWithoutLoggerDoesNothing) {
  LoggingConflict t(2);
  t.graph.set_logger(nullptr);
  const EdgeIds cur = t.cur_conflict();
  const EdgeIds prev = t.prev_conflict();

  t.graph.dump_conflict_sets();

  EXPECT_EQ(t.out.str(), "");
  EXPECT_EQ(t.cur_conflict(), cur);
  EXPECT_EQ(t.prev_conflict(), prev);
}

}  // namespace
}  // namespace vorn::dl
