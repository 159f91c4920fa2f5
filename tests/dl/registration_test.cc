// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <type_traits>

#include "tests/dl/graph_under_test.h"
#include "vorn/dl/graph.h"

namespace vorn::dl {
namespace {

using dl_test::edge;
using dl_test::EdgeIds;
using dl_test::GraphUnderTest;

// Copies would share borrowed hosts and half of the state.
static_assert(!std::is_copy_constructible_v<Graph>);
static_assert(!std::is_copy_assignable_v<Graph>);
static_assert(!std::is_move_constructible_v<Graph>);
static_assert(!std::is_move_assignable_v<Graph>);

template <class Map>
bool is_empty(const Map& map) {
  return map.begin() == map.end();
}

// A new graph knows nothing and has counted nothing.
TEST(GraphTest, ConstructorLeavesEverythingEmpty) {
  GraphUnderTest t;

  EXPECT_EQ(t.pending(), EdgeIds());
  EXPECT_TRUE(is_empty(Inspector::edges(t.graph)));
  EXPECT_TRUE(is_empty(Inspector::nodes(t.graph)));
  EXPECT_TRUE(is_empty(Inspector::cur_beta(t.graph)));
  EXPECT_TRUE(is_empty(Inspector::saved_beta(t.graph)));
  EXPECT_TRUE(Inspector::reserved_list(t.graph).empty());
  EXPECT_TRUE(t.cur_conflict().empty());
  EXPECT_TRUE(t.prev_conflict().empty());
  EXPECT_TRUE(Inspector::conflict_out(t.graph).empty());
  EXPECT_FALSE(t.graph.has_lemmas());
  EXPECT_EQ(Inspector::learnt_lemmas(t.graph).size(), 0U);
  EXPECT_EQ(Inspector::buckets(Inspector::learnt_lemmas(t.graph)).size(), 31U);
  EXPECT_EQ(Inspector::num_conflicts(t.graph), 0U);
  EXPECT_EQ(Inspector::num_tlemma_searches(t.graph), 0U);
  EXPECT_EQ(Inspector::num_short_tlemmas(t.graph), 0U);
  EXPECT_EQ(Inspector::num_long_tlemmas(t.graph), 0U);
  EXPECT_EQ(Inspector::num_dup_short_tlemmas(t.graph), 0U);
  EXPECT_EQ(Inspector::num_dup_long_tlemmas(t.graph), 0U);
}

// The graph works with what it was lent, logs at level 2 and at first nowhere.
TEST(GraphTest, ConstructorKeepsWhatItBorrows) {
  GraphUnderTest t;

  EXPECT_EQ(Inspector::config(t.graph), &t.config);
  EXPECT_EQ(Inspector::mapper(t.graph), &t.mapper);
  EXPECT_EQ(Inspector::mgr(t.graph), &t.terms);
  EXPECT_EQ(Inspector::logger(t.graph), nullptr);
  EXPECT_EQ(Inspector::loglevel(t.graph), 2U);
}

// A host may build the graph before its configuration is there: a graph that
// has met no two conflicts reads none of the three.
TEST(GraphTest, ConstructorReadsNothingFromWhatItBorrows) {
  Graph graph(nullptr, nullptr, nullptr);

  graph.tell_edge(1, edge(1, 2, -1));
  graph.tell_edge(2, edge(2, 1, 0));
  graph.push_edge(1);
  graph.push_edge(2);

  EXPECT_FALSE(graph.check(true));
}

// Constraint k owns edge 2k. A registered edge is not active yet.
TEST(GraphTest, TellEdgeRegistersUnderTwiceTheConstraintId) {
  GraphUnderTest t;

  EXPECT_TRUE(t.graph.tell_edge(3, Edge(4, 5, la::DNumber(-2, -1), 77)));

  EXPECT_TRUE(t.is_registered(6));
  EXPECT_FALSE(t.is_registered(7));
  EXPECT_FALSE(t.is_registered(3));
  EXPECT_EQ(t.notified(4), EdgeIds{6});
  EXPECT_EQ(t.active(4), EdgeIds());
  EXPECT_EQ(t.notified(5), EdgeIds());
  EXPECT_EQ(t.active(5), EdgeIds());
  EXPECT_EQ(t.pending(), EdgeIds());
}

// The edge keeps the host's own id, which is not the edge id.
TEST(GraphTest, TellEdgeKeepsAllFieldsOfTheEdge) {
  GraphUnderTest t;

  t.graph.tell_edge(3, Edge(4, 5, la::DNumber(-2, -1), 77));

  EXPECT_EQ(t.graph.get_edge(6).to_str(), "x4 -[-2 - eps]-> x5 [id: 77]");
}

// Edge ids between registered ones are not registered by the table's growth.
TEST(GraphTest, TellEdgeRegistersNoOtherId) {
  GraphUnderTest t;

  t.tell(9, 1, 2, 0);
  t.tell(2, 1, 2, 0);

  for (int id = 0; id < 40; ++id) {
    EXPECT_EQ(t.is_registered(id), id == 18 || id == 4) << id;
  }
}

// Edge id 0 is an edge id like any other for registration.
TEST(GraphTest, TellEdgeOfConstraintZeroRegistersEdgeZero) {
  GraphUnderTest t;

  t.tell(0, 1, 2, 5);

  EXPECT_TRUE(t.is_registered(0));
  EXPECT_EQ(t.notified(1), EdgeIds{0});
}

// The second edge of a pair is 2k+1, notified after the first.
TEST(GraphTest, TellBiEdgeRegistersBothEdgesInOrder) {
  GraphUnderTest t;

  EXPECT_TRUE(t.graph.tell_bi_edge(3, edge(4, 5, 2), edge(4, 6, -2)));

  EXPECT_EQ(t.graph.get_edge(6).to_str(), edge(4, 5, 2).to_str());
  EXPECT_EQ(t.graph.get_edge(7).to_str(), edge(4, 6, -2).to_str());
  EXPECT_EQ(t.notified(4), (EdgeIds{6, 7}));
}

// The two edges of an equality leave different nodes.
TEST(GraphTest, TellBiEdgeListsEachEdgeAtItsOwnSource) {
  GraphUnderTest t;

  t.graph.tell_bi_edge(3, edge(4, 5, 2), edge(5, 4, -2));

  EXPECT_EQ(t.notified(4), EdgeIds{6});
  EXPECT_EQ(t.notified(5), EdgeIds{7});
}

// A new node starts with a committed potential of 0, whatever the edge says.
TEST(GraphTest, TellEdgeCreatesBothNodesWithPotentialZero) {
  GraphUnderTest t;

  t.tell(3, 4, 7, -9);

  for (const int node : {4, 7}) {
    EXPECT_EQ(t.potential(node), "0");
    EXPECT_EQ(t.pred(node), -1);
    EXPECT_TRUE(t.graph.var_is_known(node));
  }
  EXPECT_FALSE(t.graph.var_is_known(5));
  EXPECT_EQ(t.potential(5), "<absent>");
}

// Telling an edge must not undo what checks have found out about its ends.
TEST(GraphTest, TellEdgeBetweenKnownNodesChangesNoPotential) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -5);
  ASSERT_TRUE(t.activate({1}));
  ASSERT_EQ(t.potential(2), "-5");

  t.tell(2, 2, 1, -9);
  t.tell(3, 1, 2, -9);

  EXPECT_EQ(t.potential(1), "0");
  EXPECT_EQ(t.potential(2), "-5");
  EXPECT_EQ(t.pred(2), 2);
  EXPECT_EQ(t.active(1), EdgeIds{2});
  EXPECT_EQ(t.notified(1), EdgeIds{6});
  EXPECT_EQ(t.notified(2), EdgeIds{4});
}

// One end can be new while the other is known, on either side.
TEST(GraphTest, TellEdgeCreatesOnlyTheEndThatIsNew) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -5);
  ASSERT_TRUE(t.activate({1}));

  t.tell(2, 2, 3, -9);
  t.tell(3, 4, 2, -9);

  EXPECT_EQ(t.potential(2), "-5");
  EXPECT_EQ(t.potential(3), "0");
  EXPECT_EQ(t.potential(4), "0");
  EXPECT_EQ(t.active(1), EdgeIds{2});
}

// A constraint x - x <= c is an edge too.
TEST(GraphTest, TellEdgeTakesASelfLoop) {
  GraphUnderTest t;

  t.tell(3, 4, 4, 1);

  EXPECT_EQ(t.notified(4), EdgeIds{6});
  EXPECT_EQ(t.potential(4), "0");
}

// Documented: a constraint told anew has the new edge and two listings.
TEST(GraphTest, TellEdgeAgainReplacesTheEdgeAndLeavesTheOldListing) {
  GraphUnderTest t;
  t.tell(3, 4, 5, 1);

  t.tell(3, 6, 7, 2);

  EXPECT_EQ(t.graph.get_edge(6).to_str(), edge(6, 7, 2).to_str());
  EXPECT_EQ(t.notified(4), EdgeIds{6});
  EXPECT_EQ(t.notified(6), EdgeIds{6});
}

// The caller's edge may go or change: the graph has its own.
TEST(GraphTest, TellEdgeStoresACopy) {
  GraphUnderTest t;
  Edge mine = edge(4, 5, 1);
  t.graph.tell_edge(3, mine);

  mine.weight += la::DNumber(100, 0);
  mine.target = 9;

  EXPECT_EQ(t.graph.get_edge(6).to_str(), edge(4, 5, 1).to_str());
}

// The graph holds one share of each weight and gives it back: with the edge,
// and with everything.
TEST(GraphTest, RegisteredEdgesShareTheirWeightUntilForgotten) {
  GraphUnderTest t;
  const Edge mine = edge(4, 5, 1);
  for (const int k : {1, 2, 3}) t.graph.tell_edge(k, mine);
  EXPECT_EQ(Inspector::refcount(mine.weight), 4);

  t.graph.retract_edge(2);
  EXPECT_EQ(Inspector::refcount(mine.weight), 3);
  t.graph.reset(true);

  EXPECT_EQ(Inspector::refcount(mine.weight), 1);
}

// What get_edge hands out is not the graph's edge either.
TEST(GraphTest, GetEdgeReturnsACopy) {
  GraphUnderTest t;
  t.tell(3, 4, 5, 1);

  Edge copy = t.graph.get_edge(6);
  copy.weight += la::DNumber(100, 0);
  copy.target = 9;

  EXPECT_EQ(t.graph.get_edge(6).to_str(), edge(4, 5, 1).to_str());
}

// Asking must not register: a later push would take the edge for real.
TEST(GraphTest, GetEdgeOfUnregisteredIdIsDefaultAndInsertsNothing) {
  GraphUnderTest t;
  t.tell(3, 4, 5, 1);

  for (const int id : {-1, 0, 3, 5, 7, 1000000}) {
    EXPECT_EQ(t.graph.get_edge(id).to_str(), Edge().to_str()) << id;
    EXPECT_FALSE(id >= 0 && t.is_registered(id)) << id;
  }
  EXPECT_EQ(Inspector::num_keys(Inspector::edges(t.graph)), 1U);
  EXPECT_LT(Inspector::edges(t.graph).num_slots(), 1000);
}

// A node counts as known only if all three tables hold it.
TEST(GraphTest, VarIsKnownNeedsAllThreeTables) {
  GraphUnderTest t;
  for (int node = 1; node <= 4; ++node) t.tell(node, node, node, 0);

  Inspector::cur_beta(t.graph).key_erase(1);
  Inspector::saved_beta(t.graph).key_erase(2);
  Inspector::nodes(t.graph).key_erase(3);

  EXPECT_FALSE(t.graph.var_is_known(1));
  EXPECT_FALSE(t.graph.var_is_known(2));
  EXPECT_FALSE(t.graph.var_is_known(3));
  EXPECT_TRUE(t.graph.var_is_known(4));
}

// A host reads its model from the committed potentials.
TEST(GraphTest, GetPotentialIsTheCommittedOne) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -5, -1);
  ASSERT_TRUE(t.activate({1}));
  Inspector::cur_beta(t.graph).at(2) = la::DNumber(-9, 0);

  EXPECT_EQ(t.graph.get_potential(1).to_str(), "0");
  EXPECT_EQ(t.graph.get_potential(2).to_str(), "-5 - eps");
}

// A node that the graph has never seen is at 0, and stays unknown.
TEST(GraphTest, GetPotentialOfUnknownNodeIsZeroAndInsertsNothing) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -5);

  EXPECT_EQ(t.graph.get_potential(0).to_str(), "0");
  EXPECT_EQ(t.graph.get_potential(7).to_str(), "0");
  EXPECT_FALSE(Inspector::saved_beta(t.graph).contains(0));
  EXPECT_FALSE(Inspector::saved_beta(t.graph).contains(7));
}

// Asking about a node must not make it known.
TEST(GraphTest, VarIsKnownInsertsNothing) {
  GraphUnderTest t;

  EXPECT_FALSE(t.graph.var_is_known(2));
  EXPECT_FALSE(t.graph.var_is_known(2));
  EXPECT_TRUE(is_empty(Inspector::cur_beta(t.graph)));
  EXPECT_TRUE(is_empty(Inspector::nodes(t.graph)));
}

}  // namespace
}  // namespace vorn::dl
