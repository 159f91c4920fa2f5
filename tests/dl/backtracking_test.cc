// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/dl/graph_under_test.h"
#include "vorn/dl/graph.h"

namespace vorn::dl {
namespace {

using dl_test::edge;
using dl_test::EdgeIds;
using dl_test::GraphUnderTest;
using dl_test::Texts;
using dl_test::TextTerms;

// Popping what no check has seen only takes it off the queue.
TEST(GraphTest, PopEdgeBeforeCheckLeavesTheNodeListsAlone) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -5);
  t.tell(3, 1, 2, -6);
  ASSERT_TRUE(t.activate({1}));
  t.push({3});

  EXPECT_TRUE(t.graph.pop_edge(3));

  EXPECT_EQ(t.pending(), EdgeIds());
  EXPECT_EQ(t.active(1), EdgeIds{2});
  EXPECT_EQ(t.notified(1), EdgeIds{6});
  EXPECT_EQ(t.pred(2), 2);
}

// The other pending edges keep their order: it is the order of the checks.
TEST(GraphTest, PopEdgeKeepsTheOrderOfTheOtherPendingEdges) {
  GraphUnderTest t;
  for (const int k : {1, 2, 3, 4}) t.tell(k, 1, 2, 0);
  t.push({4, 2, 3, 2, 1});

  EXPECT_TRUE(t.graph.pop_edge(2));

  // Every entry of the id goes.
  EXPECT_EQ(t.pending(), (EdgeIds{8, 6, 2}));
  EXPECT_EQ(t.notified(1), (EdgeIds{2, 4, 6, 8}));
}

// An active edge is registered again, behind the others.
TEST(GraphTest, PopEdgeAfterCheckMovesToTheEndOfNotified) {
  GraphUnderTest t;
  for (const int k : {1, 2, 3, 4}) t.tell(k, 1, 2, 0);
  ASSERT_TRUE(t.activate({1, 2}));

  EXPECT_TRUE(t.graph.pop_edge(2));

  EXPECT_EQ(t.active(1), EdgeIds{2});
  EXPECT_EQ(t.notified(1), (EdgeIds{6, 8, 4}));
}

// A popped edge cannot have lowered anything any more.
TEST(GraphTest, PopEdgeClearsThePredEdgeOfItsTarget) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -5);
  ASSERT_TRUE(t.activate({1}));
  ASSERT_EQ(t.pred(2), 2);

  t.pop({1});

  EXPECT_EQ(t.pred(2), -1);
}

// Another edge's mark on the target, or the edge's on no other node, stays.
TEST(GraphTest, PopEdgeKeepsOtherPredEdges) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -5);
  t.tell(2, 1, 2, 7);
  t.tell(3, 2, 3, -1);
  ASSERT_TRUE(t.activate({1, 3, 2}));

  t.pop({2});

  EXPECT_EQ(t.pred(2), 2);
  EXPECT_EQ(t.pred(3), 6);
}

// Potentials satisfy fewer edges all the more; restoring them costs for
// nothing.
TEST(GraphTest, PopEdgeLeavesPotentialsConflictsAndCountersAlone) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -5);
  t.tell(2, 2, 1, 4);
  ASSERT_TRUE(t.activate({1}));
  ASSERT_FALSE(t.activate({2}));

  t.pop({1, 2});

  EXPECT_EQ(t.potential(1), "0");
  EXPECT_EQ(t.potential(2), "-5");
  EXPECT_EQ(t.cur_conflict(), (EdgeIds{4, 2}));
  EXPECT_EQ(Inspector::num_conflicts(t.graph), 1U);
}

// The second edge of a pair was pushed last and goes first.
TEST(GraphTest, PopEdgeOfPairTakesTheSecondEdgeFirst) {
  GraphUnderTest t;
  t.tell(1, 1, 4, 0);
  t.graph.tell_bi_edge(3, edge(1, 2, -1), edge(1, 3, -1));
  ASSERT_TRUE(t.activate({1, 3}));
  ASSERT_EQ(t.active(1), (EdgeIds{2, 6, 7}));

  EXPECT_TRUE(t.graph.pop_edge(3));

  EXPECT_EQ(t.active(1), EdgeIds{2});
  EXPECT_EQ(t.notified(1), (EdgeIds{7, 6}));
  EXPECT_EQ(t.pred(2), -1);
  EXPECT_EQ(t.pred(3), -1);
}

// A pair can be half checked: the first edge active, the second one pending.
TEST(GraphTest, PopEdgeOfHalfCheckedPairTakesEachEdgeFromItsPlace) {
  GraphUnderTest t;
  t.graph.tell_bi_edge(3, edge(1, 2, -1), edge(2, 1, 0));
  ASSERT_FALSE(t.activate({3}));
  ASSERT_EQ(t.pending(), EdgeIds{7});

  EXPECT_TRUE(t.graph.pop_edge(3));

  EXPECT_EQ(t.pending(), EdgeIds());
  EXPECT_EQ(t.active(1), EdgeIds());
  EXPECT_EQ(t.notified(1), EdgeIds{6});
  EXPECT_EQ(t.active(2), EdgeIds());
  EXPECT_EQ(t.notified(2), EdgeIds{7});
}

// A pair that no check has seen leaves the queue with both edges.
TEST(GraphTest, PopEdgeOfPendingPairTakesBothOffTheQueue) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 0);
  t.graph.tell_bi_edge(3, edge(1, 2, -1), edge(2, 1, 1));
  t.push({1, 3});

  EXPECT_TRUE(t.graph.pop_edge(3));

  EXPECT_EQ(t.pending(), EdgeIds{2});
  EXPECT_EQ(t.notified(1), (EdgeIds{2, 6}));
  EXPECT_EQ(t.notified(2), EdgeIds{7});
}

// Without a second edge, nothing may be looked up or made for it.
TEST(GraphTest, PopAndRetractOfSingleEdgeTouchNoSecondEdge) {
  GraphUnderTest t;
  t.tell(3, 1, 2, -1);
  t.tell(4, 1, 2, -2);
  ASSERT_TRUE(t.activate({4, 3}));

  t.pop({3});

  EXPECT_EQ(t.active(1), EdgeIds{8});
  EXPECT_EQ(t.notified(1), EdgeIds{6});
  EXPECT_TRUE(t.graph.retract_edge(3));
  EXPECT_EQ(t.active(1), EdgeIds{8});
  EXPECT_EQ(t.notified(1), EdgeIds());
  EXPECT_FALSE(t.is_registered(7));
  EXPECT_TRUE(t.is_registered(8));
  EXPECT_EQ(Inspector::num_keys(Inspector::edges(t.graph)), 1U);
}

// Popped constraints can be pushed again, and no longer constrain anything
// while they are not.
TEST(GraphTest, PoppedEdgeIsOutOfForceUntilPushedAgain) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -1);
  t.tell(2, 2, 1, -1);
  ASSERT_TRUE(t.activate({1}));
  t.pop({1});

  EXPECT_TRUE(t.activate({2}));
  EXPECT_FALSE(t.activate({1}));

  EXPECT_EQ(t.cur_conflict(), (EdgeIds{2, 4}));
}

// A retracted constraint is unknown, at its node too.
TEST(GraphTest, RetractEdgeForgetsTheEdge) {
  GraphUnderTest t;
  for (const int k : {1, 2, 3}) t.tell(k, 1, 2, 0);

  EXPECT_TRUE(t.graph.retract_edge(2));

  EXPECT_FALSE(t.is_registered(4));
  EXPECT_EQ(t.graph.get_edge(4).to_str(), Edge().to_str());
  EXPECT_EQ(t.notified(1), (EdgeIds{2, 6}));
  EXPECT_TRUE(t.is_registered(2));
  EXPECT_TRUE(t.is_registered(6));
}

// Both edges of a pair go.
TEST(GraphTest, RetractEdgeOfPairForgetsBothEdges) {
  GraphUnderTest t;
  t.graph.tell_bi_edge(3, edge(1, 2, 0), edge(2, 1, 0));

  EXPECT_TRUE(t.graph.retract_edge(3));

  EXPECT_FALSE(t.is_registered(6));
  EXPECT_FALSE(t.is_registered(7));
  EXPECT_EQ(t.notified(1), EdgeIds());
  EXPECT_EQ(t.notified(2), EdgeIds());
}

// A failing run leaves marks of edges that never became active; a retracted
// one must not stay behind.
TEST(GraphTest, RetractEdgeClearsThePredEdgeOfItsTarget) {
  GraphUnderTest t;
  t.tell(1, 2, 1, 0);
  t.graph.tell_bi_edge(2, edge(1, 2, -1), edge(3, 4, -1));
  ASSERT_FALSE(t.activate({1, 2}));
  t.pop({1, 2});
  ASSERT_EQ(t.pred(2), 4);
  Inspector::nodes(t.graph).at(4).set_pred_edge(5);

  EXPECT_TRUE(t.graph.retract_edge(2));

  EXPECT_EQ(t.pred(2), -1);
  EXPECT_EQ(t.pred(4), -1);
}

// Marks of other edges are not the retracted edge's to clear.
TEST(GraphTest, RetractEdgeKeepsOtherPredEdgesAndPotentials) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -5);
  t.tell(2, 1, 2, 0);
  ASSERT_TRUE(t.activate({1}));

  EXPECT_TRUE(t.graph.retract_edge(2));

  EXPECT_EQ(t.pred(2), 2);
  EXPECT_EQ(t.potential(2), "-5");
  EXPECT_EQ(t.active(1), EdgeIds{2});
  EXPECT_TRUE(t.graph.var_is_known(2));
}

// A constraint id can be used again once it is retracted.
TEST(GraphTest, RetractedConstraintCanBeToldAnew) {
  GraphUnderTest t;
  t.graph.tell_bi_edge(3, edge(1, 2, 0), edge(2, 1, 0));
  t.graph.retract_edge(3);

  t.tell(3, 2, 3, -4);
  ASSERT_TRUE(t.activate({3}));

  EXPECT_EQ(t.potential(3), "-4");
  EXPECT_EQ(t.active(2), EdgeIds{6});
  EXPECT_FALSE(t.is_registered(7));
}

/// A graph in which everything that reset touches, or must not touch, is
/// there: potentials, pending and active edges, two conflicts, a queued lemma.
struct BusyGraph : GraphUnderTest {
  BusyGraph() {
    config.dl_tlemma_kinds = 3;
    config.dl_tlemma_min_overlap = 0.0F;
    config.dl_dedup_tlemmas = true;
    tell(1, 1, 2, 1);
    tell(2, 2, 1, -4);
    tell(3, 1, 2, 2);
    tell(4, 2, 3, -3);
    EXPECT_TRUE(activate({2, 4}));
    EXPECT_FALSE(activate({1}));
    pop({1});
    EXPECT_FALSE(activate({3}));
    EXPECT_EQ(pending(), EdgeIds{6});
    EXPECT_EQ(potential(1), "-4");
    EXPECT_TRUE(graph.has_lemmas());
    EXPECT_GT(Inspector::learnt_lemmas(graph).size(), 0U);
  }
};

// With or without potentials, edges, nodes and the current conflict are gone.
TEST(GraphTest, ResetForgetsEdgesNodesAndTheCurrentConflict) {
  for (const bool full : {false, true}) {
    BusyGraph t;
    Inspector::reserved_list(t.graph) = {1, 2, 3};

    t.graph.reset(full);

    EXPECT_EQ(t.pending(), EdgeIds());
    EXPECT_TRUE(Inspector::edges(t.graph).begin() ==
                Inspector::edges(t.graph).end());
    EXPECT_TRUE(Inspector::nodes(t.graph).begin() ==
                Inspector::nodes(t.graph).end());
    EXPECT_TRUE(Inspector::reserved_list(t.graph).empty());
    EXPECT_FALSE(t.graph.var_is_known(1));
    EXPECT_EQ(t.conflict_set(), EdgeIds());
    EXPECT_EQ(Inspector::learnt_lemmas(t.graph).size(), 0U);
    EXPECT_EQ(Inspector::buckets(Inspector::learnt_lemmas(t.graph)).size(),
              31U);
    EXPECT_TRUE(t.graph.check(true));
  }
}

// What the dumps and the host still want is kept, in either reset.
TEST(GraphTest, ResetKeepsPreviousConflictLemmasCountersAndHosts) {
  for (const bool full : {false, true}) {
    BusyGraph t;
    Inspector::conflict_out(t.graph) = {7, 8};

    t.graph.reset(full);

    EXPECT_EQ(t.prev_conflict(), (EdgeIds{2, 4}));
    EXPECT_EQ(Inspector::conflict_out(t.graph), (EdgeIds{7, 8}));
    EXPECT_EQ(Inspector::num_conflicts(t.graph), 2U);
    EXPECT_EQ(Inspector::num_tlemma_searches(t.graph), 1U);
    EXPECT_EQ(Inspector::num_short_tlemmas(t.graph), 2U);
    EXPECT_EQ(Inspector::config(t.graph), &t.config);
    EXPECT_EQ(Inspector::mapper(t.graph), &t.mapper);
    EXPECT_EQ(Inspector::mgr(t.graph), &t.terms);
    EXPECT_EQ(t.take_lemmas(), (Texts{"(or (not c3) (<= x2 (+ x1 2)))",
                                      "(or (not c1) (<= x2 (+ x1 2)))"}));
  }
}

// Without `full` the host can still read what the potentials were.
TEST(GraphTest, ResetKeepsPotentialsUnlessFull) {
  BusyGraph t;

  t.graph.reset(false);

  EXPECT_EQ(t.potential(1), "-4");
  EXPECT_EQ(t.potential(2), "0");
  EXPECT_EQ(t.potential(3), "-3");
  EXPECT_EQ(Inspector::cur_beta(t.graph)[1].to_str(), "-4");
}

// With `full` every potential reads as zero.
TEST(GraphTest, ResetForgetsPotentialsIfFull) {
  BusyGraph t;

  t.graph.reset(true);

  EXPECT_EQ(t.potential(1), "<absent>");
  EXPECT_EQ(t.potential(3), "<absent>");
  EXPECT_EQ(Inspector::cur_beta(t.graph)[1].to_str(), "0");
  EXPECT_EQ(Inspector::saved_beta(t.graph)[1].to_str(), "0");
}

// A node told after a reset is a new node, also if its potential survived.
TEST(GraphTest, NodeToldAgainAfterResetStartsFromZero) {
  BusyGraph t;
  t.graph.reset(false);

  t.tell(1, 1, 2, -1);

  EXPECT_EQ(t.potential(1), "0");
  EXPECT_EQ(t.potential(3), "-3");
  EXPECT_EQ(t.pred(1), -1);
  EXPECT_EQ(t.notified(1), EdgeIds{2});
}

// A reset graph decides like a new one.
TEST(GraphTest, ResetGraphCanBeUsedAgain) {
  for (const bool full : {false, true}) {
    BusyGraph t;
    t.config.dl_tlemma_kinds = 0;
    t.graph.reset(full);
    t.tell(1, 1, 2, -1);
    t.tell(2, 2, 3, -1);
    t.tell(3, 3, 1, 1);

    EXPECT_TRUE(t.activate({1, 2}));
    EXPECT_EQ(t.potential(3), "-2");
    EXPECT_FALSE(t.activate({3}));
    EXPECT_EQ(t.conflict_set(), (EdgeIds{3, 1, 2}));
  }
}

// Duplicates are filtered between two resets, not across.
TEST(GraphTest, ResetForgetsWhichLemmasWereLearnt) {
  BusyGraph t;
  t.take_lemmas();
  t.graph.reset(true);
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 1, -4);
  t.tell(3, 1, 2, 2);
  ASSERT_TRUE(t.activate({2}));
  ASSERT_FALSE(t.activate({1}));
  t.pop({1});

  ASSERT_FALSE(t.activate({3}));

  EXPECT_EQ(t.take_lemmas().size(), 2U);
  EXPECT_EQ(Inspector::num_dup_short_tlemmas(t.graph), 0U);
}

// Lemmas belong to the host as soon as they are queued: taking constraints
// back does not drop them.
TEST(GraphTest, BacktrackingKeepsQueuedLemmas) {
  BusyGraph t;

  t.pop({2, 4, 3});
  for (const int k : {1, 2, 3, 4}) t.graph.retract_edge(k);

  EXPECT_EQ(t.take_lemmas().size(), 2U);
}

}  // namespace
}  // namespace vorn::dl
