// SPDX-License-Identifier: MIT
#include "vorn/dl/node.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "tests/dl/graph_under_test.h"

namespace vorn::dl {
namespace {

using dl_test::EdgeIds;

static_assert(std::has_virtual_destructor_v<Node>);
static_assert(std::is_copy_assignable_v<Node>);

Node node_with(const EdgeIds& pushed, const EdgeIds& notified) {
  Node node;
  Inspector::pushed(node) = pushed;
  Inspector::notified(node) = notified;
  return node;
}

// A new node has no edges and was lowered by none.
TEST(NodeTest, DefaultIsEmpty) {
  const Node node;

  EXPECT_EQ(node.pushed(), EdgeIds());
  EXPECT_EQ(node.notified(), EdgeIds());
  EXPECT_EQ(node.pred_edge(), -1);
}

// Registration order is the order of the dumps.
TEST(NodeTest, TellAppendsToNotified) {
  Node node = node_with({9}, {4});

  EXPECT_TRUE(node.tell_edge(6));
  EXPECT_TRUE(node.tell_edge(2));

  EXPECT_EQ(node.notified(), (EdgeIds{4, 6, 2}));
  EXPECT_EQ(node.pushed(), EdgeIds{9});
}

// Active edges are relaxed in activation order, so the id goes to the end.
TEST(NodeTest, PushMovesFromNotifiedToTheEndOfPushed) {
  Node node = node_with({8}, {4, 6, 2});

  EXPECT_TRUE(node.push_edge(6));

  EXPECT_EQ(node.pushed(), (EdgeIds{8, 6}));
  EXPECT_EQ(node.notified(), (EdgeIds{4, 2}));
}

// An edge told twice is active once; no entry may claim it is not.
TEST(NodeTest, PushRemovesEveryNotifiedEntryAndKeepsTheOrderOfTheRest) {
  Node node = node_with({}, {6, 4, 6, 2, 8});

  EXPECT_TRUE(node.push_edge(6));

  EXPECT_EQ(node.pushed(), EdgeIds{6});
  EXPECT_EQ(node.notified(), (EdgeIds{4, 2, 8}));
}

// An edge that was never notified can be pushed: nothing else is taken out.
TEST(NodeTest, PushOfUnlistedEdgeOnlyAppends) {
  Node node = node_with({}, {4, 2});

  EXPECT_TRUE(node.push_edge(6));

  EXPECT_EQ(node.pushed(), EdgeIds{6});
  EXPECT_EQ(node.notified(), (EdgeIds{4, 2}));
}

// The id goes behind the edges that are notified already.
TEST(NodeTest, PopMovesFromPushedToTheEndOfNotified) {
  Node node = node_with({8, 6}, {4});

  EXPECT_TRUE(node.pop_edge(6));

  EXPECT_EQ(node.pushed(), EdgeIds{8});
  EXPECT_EQ(node.notified(), (EdgeIds{4, 6}));
}

// Pops undo pushes in reverse order and deliberately do not look.
TEST(NodeTest, PopRemovesTheLastPushedEdgeWhateverTheId) {
  Node node = node_with({8, 6}, {});

  EXPECT_TRUE(node.pop_edge(8));

  EXPECT_EQ(node.pushed(), EdgeIds{8});
  EXPECT_EQ(node.notified(), EdgeIds{8});
}

// Forgetting an edge must leave no entry, and the others where they are.
TEST(NodeTest, RetractRemovesEveryNotifiedEntryAndKeepsTheOrderOfTheRest) {
  Node node = node_with({6}, {4, 6, 2, 6, 8});

  EXPECT_TRUE(node.retract_edge(6));

  EXPECT_EQ(node.notified(), (EdgeIds{4, 2, 8}));
  EXPECT_EQ(node.pushed(), EdgeIds{6});
}

// Retracting what is not listed is no error.
TEST(NodeTest, RetractOfUnlistedEdgeChangesNothing) {
  Node node = node_with({6}, {4});

  EXPECT_TRUE(node.retract_edge(6));
  EXPECT_TRUE(Node().retract_edge(6));

  EXPECT_EQ(node.notified(), EdgeIds{4});
  EXPECT_EQ(node.pushed(), EdgeIds{6});
}

// Conflicts are read off these fields.
TEST(NodeTest, PredEdgeIsKept) {
  Node node;

  node.set_pred_edge(6);

  EXPECT_EQ(node.pred_edge(), 6);
}

// Nodes are stored by value and copied when their table grows.
TEST(NodeTest, CopyTakesListsAndPredEdgeAndIsIndependent) {
  Node original = node_with({8, 6}, {4});
  original.set_pred_edge(6);

  Node copy(original);
  copy.pop_edge(6);
  copy.set_pred_edge(-1);

  EXPECT_EQ(copy.pushed(), EdgeIds{8});
  EXPECT_EQ(copy.notified(), (EdgeIds{4, 6}));
  EXPECT_EQ(original.pushed(), (EdgeIds{8, 6}));
  EXPECT_EQ(original.notified(), EdgeIds{4});
  EXPECT_EQ(original.pred_edge(), 6);
  copy = original;
  EXPECT_EQ(copy.pushed(), (EdgeIds{8, 6}));
  EXPECT_EQ(copy.notified(), EdgeIds{4});
  EXPECT_EQ(copy.pred_edge(), 6);
}

// Long lists are searched in strides; each place in and between them counts.
TEST(NodeTest, RetractFromLongListsRemovesEveryEntryInEveryPlace) {
  for (int size = 0; size < 70; ++size) {
    EdgeIds ids;
    for (int k = 0; k < size; ++k) ids.push_back(100 + k);
    for (int first = 0; first < size; ++first) {
      for (const int second : {first, first + 1, first + 17, size - 1}) {
        if (second >= size) continue;
        EdgeIds notified = ids;
        notified[static_cast<std::size_t>(first)] = 6;
        notified[static_cast<std::size_t>(second)] = 6;
        Node node = node_with({3}, notified);
        EdgeIds rest;
        for (const int id : notified) {
          if (id != 6) rest.push_back(id);
        }

        EXPECT_TRUE(node.retract_edge(6));

        ASSERT_EQ(node.notified(), rest) << size << " " << first;
        EXPECT_TRUE(node.retract_edge(6));
        ASSERT_EQ(node.notified(), rest) << size << " " << first;
      }
    }
  }
}

// The one edge of a node takes the memory of its list along, which a million
// nodes feel; everything else must be as with two lists.
TEST(NodeTest, OneEdgeKeepsOneListInMemory) {
  Node node;
  node.tell_edge(4);
  node.set_pred_edge(8);
  for (int round = 0; round < 3; ++round) {
    EXPECT_TRUE(node.push_edge(4));
    EXPECT_EQ(node.pushed(), EdgeIds{4});
    EXPECT_EQ(node.notified(), EdgeIds());
    EXPECT_EQ(node.notified().capacity(), 0U);

    EXPECT_TRUE(node.pop_edge(4));
    EXPECT_EQ(node.pushed(), EdgeIds());
    EXPECT_EQ(node.notified(), EdgeIds{4});
    EXPECT_EQ(node.pushed().capacity(), 0U);
  }
  node.push_edge(4);

  node.tell_edge(6);
  EXPECT_TRUE(node.push_edge(6));

  EXPECT_EQ(node.pushed(), (EdgeIds{4, 6}));
  EXPECT_TRUE(node.pop_edge(6));
  EXPECT_TRUE(node.pop_edge(4));
  EXPECT_EQ(node.notified(), (EdgeIds{6, 4}));
  EXPECT_EQ(node.pred_edge(), 8);
}

// A push of an edge that is not listed must not take the list of another.
TEST(NodeTest, PushOfAnUnlistedEdgeLeavesTheListedOne) {
  Node node;
  node.tell_edge(4);

  EXPECT_TRUE(node.push_edge(6));

  EXPECT_EQ(node.pushed(), EdgeIds{6});
  EXPECT_EQ(node.notified(), EdgeIds{4});
}

}  // namespace
}  // namespace vorn::dl
