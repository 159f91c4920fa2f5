// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "tests/dl/graph_under_test.h"
#include "tests/numbers/allocation_hooks.h"
#include "vorn/dl/graph.h"

// What is left when memory runs out: each allocation of an operation fails in
// turn.

namespace vorn::dl {
namespace {

using dl_test::edge;
using dl_test::EdgeIds;
using dl_test::GraphUnderTest;

/// Runs `operation` with `allocations` to spend. False if they were too few.
bool succeeds_with(std::size_t allocations,
                   const std::function<void()>& operation) {
  return !test::fails_at(allocations, operation);
}

/// Runs `operation` without any allocation.
bool allocates_nothing(const std::function<void()>& operation) {
  return succeeds_with(0, operation);
}

/// Runs `body` where nothing has been run before: a thread keeps blocks of
/// numbers, and a run that needs no others cannot fail.
void on_fresh_thread(const std::function<void()>& body) {
  std::thread(body).join();
}

/// The invariants that hold between calls, over all registered edges.
void expect_sound(const GraphUnderTest& t, int max_edge) {
  const auto& cur = Inspector::cur_beta(t.graph);
  const auto& nodes = Inspector::nodes(t.graph);
  for (int n = 0; n < nodes.num_slots(); ++n) {
    if (!nodes.contains(n)) continue;
    EXPECT_NE(t.potential(n), "<absent>") << n;
  }
  for (int id = 0; id <= max_edge; ++id) {
    if (!t.is_registered(id)) continue;
    const Edge e = t.graph.get_edge(id);
    int listed = 0;
    for (const int other : t.notified(e.source)) listed += other == id ? 1 : 0;
    for (const int other : t.active(e.source)) {
      if (other != id) continue;
      ++listed;
      EXPECT_FALSE(
          la::DNumber::sum_less(cur.at(e.source), e.weight, cur.at(e.target)))
          << id;
    }
    EXPECT_GE(listed, 1) << id;
  }
}

/// A chain that a new edge lowers as a whole, with weights past the machine
/// word, so that numbers allocate too.
struct Chain : GraphUnderTest {
  static constexpr int kLength = 6;

  Chain() {
    const la::DNumber big(*QNumber::from_string("-9223372036854775807"),
                          QNumber());
    std::vector<int> chain;
    for (int k = 1; k <= kLength; ++k) {
      graph.tell_edge(k, Edge(k, k + 1, big, k));
      chain.push_back(k);
    }
    EXPECT_TRUE(activate(chain));
    graph.tell_bi_edge(7, edge(0, 1, -1), edge(1, 0, 5));
    tell(8, kLength + 1, 1, 3);
    tell(9, 2, 2, 1);
  }
};

/// One check that has over a million edges to try at once: node 2 falls again
/// and again before any of the edges that leave it has its turn.
void huge_queue(GraphUnderTest& t) {
  constexpr int kFalls = 1100;
  constexpr int kLeaving = 1000;
  std::vector<int> all;
  for (int k = 1; k <= kFalls; ++k) {
    t.tell(k, 1, 2, -k);
    all.push_back(k);
  }
  for (int k = kFalls + 1; k <= kFalls + kLeaving; ++k) {
    t.tell(k, 2, 3, kFalls);
    all.push_back(k);
  }
  ASSERT_TRUE(t.activate(all));
  const int start = kFalls + kLeaving + 1;
  t.tell(start, 0, 1, -kFalls);

  ASSERT_TRUE(t.activate({start}));

  EXPECT_EQ(t.potential(2), std::to_string(-2 * kFalls));
}

/// One check that lowers nodes over a million times: along a chain, each node
/// once for each node before it, since the edges that skip a part of the chain
/// come first, those to its end before the others.
void huge_run(GraphUnderTest& t) {
  constexpr int kNodes = 1500;
  std::vector<int> all;
  for (int n = kNodes; n >= 2; --n) {
    t.tell(n, 1, n, -1);
    all.push_back(n);
  }
  for (int n = 2; n < kNodes; ++n) {
    t.tell(kNodes + n, n, n + 1, -2);
    all.push_back(kNodes + n);
  }
  ASSERT_TRUE(t.activate(all));
  t.tell(1, 0, 1, -2 * kNodes);

  ASSERT_TRUE(t.activate({1}));

  const int length = -1 - 2 * (kNodes - 2);
  EXPECT_EQ(t.potential(kNodes), std::to_string(-2 * kNodes + length));
}

// A registration that fails half way can be taken back and made again.
TEST(FailingMemoryTest, TellEdgeCanBeRetractedAndRepeated) {
  for (const bool pair : {false, true}) {
    int failures = 0;
    for (std::size_t budget = 0;; ++budget) {
      SCOPED_TRACE(budget);
      GraphUnderTest t;
      t.tell(1, 1, 2, -1);
      const auto tell = [&t, pair] {
        if (pair) {
          t.graph.tell_bi_edge(40, edge(50, 90, 1), edge(90, 200, 2));
        } else {
          t.graph.tell_edge(40, edge(50, 90, 1));
        }
      };
      if (succeeds_with(budget, tell)) break;
      ++failures;

      if (t.graph.get_edge(80).source >= 0) t.graph.retract_edge(40);
      EXPECT_FALSE(t.is_registered(80));
      EXPECT_FALSE(t.is_registered(81));
      tell();

      expect_sound(t, 90);
      EXPECT_EQ(t.notified(50), EdgeIds{80});
      EXPECT_EQ(t.notified(90), pair ? EdgeIds{81} : EdgeIds());
      EXPECT_EQ(t.potential(90), "0");
      EXPECT_TRUE(t.activate({1, 40}));
    }
    EXPECT_GT(failures, 3);
  }
}

// All edges of a constraint are queued or none: the pop of half a constraint
// would take an active edge.
TEST(FailingMemoryTest, PushEdgeQueuesNothing) {
  int failures = 0;
  for (int filled = 0; filled < 9; ++filled) {
    Chain t;
    EdgeIds before;
    // Different fillings, so that either edge is the one that needs room.
    EdgeIds& pending = Inspector::pending(t.graph);
    pending = EdgeIds();
    pending.shrink_to_fit();
    for (int k = 0; k < filled; ++k) {
      t.push({9});
      before.push_back(18);
    }

    if (!allocates_nothing([&t] { t.graph.push_edge(7); })) {
      ++failures;
      EXPECT_EQ(t.pending(), before);
      EXPECT_TRUE(t.graph.push_edge(7));
    }

    before.push_back(14);
    before.push_back(15);
    EXPECT_EQ(t.pending(), before);
  }
  EXPECT_GT(failures, 2);
}

// A check that runs out of memory has done some edges and left the rest in the
// queue; checking again finishes the work.
TEST(FailingMemoryTest, CheckCanBeRepeated) {
  int failures = 0;
  const auto survives = [&failures](std::size_t budget) {
    SCOPED_TRACE(budget);
    Chain t;
    t.push({7, 9});
    if (succeeds_with(budget, [&t] { EXPECT_TRUE(t.graph.check(true)); })) {
      return true;
    }
    ++failures;

    expect_sound(t, 20);
    const EdgeIds all = {14, 15, 18};
    const EdgeIds left = t.pending();
    const auto done = static_cast<std::ptrdiff_t>(all.size() - left.size());
    EXPECT_EQ(left, EdgeIds(all.begin() + done, all.end()));
    EXPECT_EQ(t.active(0), done > 0 ? EdgeIds{14} : EdgeIds());

    EXPECT_TRUE(t.graph.check(true));
    EXPECT_EQ(t.pending(), EdgeIds());
    EXPECT_EQ(t.potential(1), "-1");
    EXPECT_EQ(t.potential(3), "-18446744073709551615");
    EXPECT_EQ(t.active(0), EdgeIds{14});
    t.pop({7, 9});
    expect_sound(t, 20);
    return false;
  };
  bool done = false;
  for (std::size_t budget = 0; !done; ++budget) {
    on_fresh_thread([&] { done = survives(budget); });
  }
  EXPECT_GT(failures, 5);
}

// Memory can run out while the conflict is recorded. The edge is not active
// then, and the next check finds the conflict.
TEST(FailingMemoryTest, FailingCheckCanBeRepeated) {
  int failures = 0;
  const auto survives = [&failures](std::size_t budget) {
    SCOPED_TRACE(budget);
    Chain t;
    t.push({8});
    if (succeeds_with(budget, [&t] { EXPECT_FALSE(t.graph.check(true)); })) {
      return true;
    }
    ++failures;

    expect_sound(t, 20);
    EXPECT_EQ(t.pending(), EdgeIds{16});
    EXPECT_EQ(t.active(Chain::kLength + 1), EdgeIds());
    EXPECT_EQ(t.potential(1), "0");
    EXPECT_EQ(t.cur_conflict(), EdgeIds());

    EXPECT_FALSE(t.graph.check(true));
    EXPECT_EQ(t.cur_conflict(), (EdgeIds{16, 2, 4, 6, 8, 10, 12}));
    return false;
  };
  bool done = false;
  for (std::size_t budget = 0; !done; ++budget) {
    on_fresh_thread([&] { done = survives(budget); });
  }
  EXPECT_GT(failures, 5);
}

/// Two ways from node 1 to node 2; the second conflict teaches two lemmas.
struct TwoConflicts : GraphUnderTest {
  TwoConflicts() {
    config.dl_tlemma_kinds = 3;
    config.dl_tlemma_min_overlap = 0.0F;
    config.dl_dedup_tlemmas = true;
    tell(1, 1, 2, 1);
    tell(2, 2, 1, -5);
    tell(3, 1, 2, 2);
    EXPECT_TRUE(activate({2}));
    EXPECT_FALSE(activate({1}));
    pop({1});
    push({3});
  }

  /// What must hold after the second check has thrown.
  void expect_not_activated() {
    expect_sound(*this, 8);
    EXPECT_EQ(pending(), EdgeIds{6});
    EXPECT_EQ(active(1), EdgeIds());
    EXPECT_EQ(potential(1), "-5");
    EXPECT_EQ(potential(2), "0");
    // The host goes on as after any conflict.
    pop({3});
    EXPECT_TRUE(graph.check(true));
    take_lemmas();
  }
};

// An exception of the host's term manager passes through the check. The
// conflict is on record by then.
TEST(FailingMemoryTest, TermManagerMayRunOutOfMemory) {
  int failures = 0;
  for (int requests = 0;; ++requests) {
    SCOPED_TRACE(requests);
    TwoConflicts t;
    t.terms.requests_left = requests;
    bool thrown = false;
    try {
      EXPECT_FALSE(t.graph.check(true));
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    t.terms.requests_left = -1;
    if (!thrown) break;
    ++failures;

    EXPECT_EQ(t.cur_conflict(), (EdgeIds{6, 4}));
    EXPECT_EQ(Inspector::num_conflicts(t.graph), 2U);
    t.expect_not_activated();
  }
  EXPECT_GT(failures, 10);
}

// The same for the graph's own memory anywhere in the search.
TEST(FailingMemoryTest, LemmaSearchMayRunOutOfMemory) {
  int failures = 0;
  for (std::size_t budget = 0;; ++budget) {
    SCOPED_TRACE(budget);
    TwoConflicts t;
    if (succeeds_with(budget, [&t] { EXPECT_FALSE(t.graph.check(true)); })) {
      break;
    }
    ++failures;

    t.expect_not_activated();
  }
  EXPECT_GT(failures, 10);
}

// A host backtracks when something has gone wrong: that must not fail.
TEST(FailingMemoryTest, PopEdgeAllocatesNothing) {
  Chain t;
  t.push({7, 9});
  ASSERT_TRUE(t.graph.check(true));
  t.push({8});

  EXPECT_TRUE(allocates_nothing([&t] {
    t.graph.pop_edge(8);
    t.graph.pop_edge(9);
    t.graph.pop_edge(7);
    for (int k = Chain::kLength; k > 0; --k) t.graph.pop_edge(k);
  }));
  EXPECT_EQ(t.pending(), EdgeIds());
  EXPECT_EQ(t.active(0), EdgeIds());
}

// Forgetting a constraint resets the slots of its edges, for which memory can
// run out. Then every edge is still whole, and the same call ends the job.
TEST(FailingMemoryTest, RetractEdgeCanBeRepeated) {
  for (const int k : {20, 7}) {
    SCOPED_TRACE(k);
    // A thread keeps blocks, too, with which nothing would fail.
    on_fresh_thread([k] {
      Chain t;
      t.tell(20, 1, 2, 0);
      const auto retract = [&t, k] { t.graph.retract_edge(k); };

      std::size_t failures = 0;
      while (!succeeds_with(k == 7 && failures > 0 ? 1 : failures, retract)) {
        ++failures;
        expect_sound(t, 40);
        EXPECT_TRUE(t.is_registered(2 * k));
        ASSERT_LT(failures, 4U);
      }

      EXPECT_GE(failures, 1U);
      EXPECT_FALSE(t.is_registered(2 * k));
      EXPECT_FALSE(t.is_registered(2 * k + 1));
      EXPECT_EQ(t.notified(1), EdgeIds{k == 20 ? 15 : 40});
    });
  }
}

// The same for forgetting everything, lemmas on record included.
TEST(FailingMemoryTest, ResetAllocatesNothing) {
  for (const bool full : {false, true}) {
    Chain t;
    t.config.dl_dedup_tlemmas = true;
    Inspector::do_learn_long_interpolant_lemmas(
        t.graph, 1, 2, la::DNumber(1, 0), EdgeIds{2, 4});
    t.push({7, 9});

    EXPECT_TRUE(allocates_nothing([&t, full] { t.graph.reset(full); }));

    EXPECT_FALSE(t.graph.var_is_known(1));
    EXPECT_EQ(t.pending(), EdgeIds());
    EXPECT_EQ(Inspector::learnt_lemmas(t.graph).size(), 0U);
  }
}

// Many edges of one node, told in between pushes: there is always room to take
// them back.
TEST(FailingMemoryTest, PoppingManyEdgesOfOneNodeAllocatesNothing) {
  GraphUnderTest t;
  constexpr int kEdges = 100;
  for (int k = 1; k <= kEdges; ++k) {
    t.tell(k, 1, 2, -k);
    ASSERT_TRUE(t.activate({k}));
  }

  EXPECT_TRUE(allocates_nothing([&t] {
    for (int k = kEdges; k > 0; --k) t.graph.pop_edge(k);
  }));
  EXPECT_EQ(t.notified(1).size(), std::size_t{kEdges});
}

// The common case of a search is an edge that holds already; it must be cheap.
TEST(FailingMemoryTest, ActivatingASatisfiedEdgeAgainAllocatesNothing) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -7);
  t.tell(2, 1, 2, 3);
  ASSERT_TRUE(t.activate({1, 2}));
  t.pop({2});

  EXPECT_TRUE(allocates_nothing([&t] {
    t.graph.push_edge(2);
    t.graph.check(true);
  }));
  EXPECT_EQ(t.active(1), (EdgeIds{2, 4}));
}

/// Allocations of a check that lowers the node behind `node`, both new.
std::size_t allocations_of_small_check(GraphUnderTest& t, int node) {
  t.tell(node, node, node + 1, -1);
  t.push({node});
  {
    // Blocks of numbers come out of what the thread keeps of these.
    std::vector<la::DNumber> numbers(10);
    for (la::DNumber& number : numbers) number = la::DNumber(1, 1);
  }
  const std::size_t before = test::num_new();
  EXPECT_TRUE(t.graph.check(true));
  return test::num_new() - before;
}

// Storage is kept from check to check, but what one huge run has left would
// burden the graph for ever.
TEST(FailingMemoryTest, StorageIsKeptFromCheckToCheckUnlessItIsHuge) {
  GraphUnderTest plain;
  GraphUnderTest after_huge_queue;
  GraphUnderTest after_huge_run;
  huge_queue(after_huge_queue);
  huge_run(after_huge_run);

  const std::size_t first = allocations_of_small_check(plain, 5000);
  const std::size_t second = allocations_of_small_check(plain, 6000);

  // A list of the edges to try, and two of the nodes that were lowered and what
  // their potentials were.
  EXPECT_EQ(second + 3, first);
  EXPECT_EQ(allocations_of_small_check(after_huge_queue, 5000), second + 1);
  EXPECT_EQ(allocations_of_small_check(after_huge_run, 5000), second + 2);
  EXPECT_EQ(allocations_of_small_check(after_huge_queue, 6000), second);
  EXPECT_EQ(allocations_of_small_check(after_huge_run, 6000), second);
}

// What one graph keeps is nothing to another.
TEST(FailingMemoryTest, StorageIsNotShared) {
  GraphUnderTest one;
  GraphUnderTest other;

  const std::size_t first = allocations_of_small_check(one, 5000);

  EXPECT_EQ(allocations_of_small_check(other, 5000), first);
  EXPECT_LT(allocations_of_small_check(one, 6000), first);
}

// Reading out a conflict again and again reuses the two buffers.
TEST(FailingMemoryTest, GetConflictSetAllocatesNothingOnceBothBuffersAreMade) {
  Chain t;
  ASSERT_FALSE(t.activate({8}));
  std::vector<int> out;
  t.graph.get_conflict_set(&out);
  t.graph.get_conflict_set(&out);

  EXPECT_TRUE(allocates_nothing([&t, &out] {
    t.graph.get_conflict_set(&out);
    t.graph.get_conflict_set(&out);
  }));
  EXPECT_EQ(out.size(), 7U);
}

}  // namespace
}  // namespace vorn::dl
