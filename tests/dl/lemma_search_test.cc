// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <utility>
#include <vector>

#include "tests/dl/learning_graph.h"
#include "vorn/dl/graph.h"

namespace vorn::dl {
namespace {

using dl_test::edge;
using dl_test::EdgeIds;
using dl_test::LearningGraph;
using dl_test::Texts;
using dl_test::TwoWays;

// One edge against two: the bound is the larger sum, which both ways imply.
// The shared edge back is no run.
TEST(GraphTest, SearchOfOneEdgeAgainstTwoLearnsTwoShortLemmas) {
  TwoWays t;

  EXPECT_EQ(t.learn({2, 4}, {6, 8, 4}),
            (Texts{"(or (or (not c3) (not c4)) (<= x2 (+ x1 3)))",
                   "(or (not c1) (<= x2 (+ x1 3)))"}));
  EXPECT_EQ(t.searches(), 1U);
}

// The other way round the current cycle is the one that waits.
TEST(GraphTest, SearchOfTwoEdgesAgainstOneLearnsTwoShortLemmas) {
  TwoWays t;

  EXPECT_EQ(t.learn({6, 8, 4}, {2, 4}),
            (Texts{"(or (not c1) (<= x2 (+ x1 3)))",
                   "(or (or (not c3) (not c4)) (<= x2 (+ x1 3)))"}));
}

// Where the vectors begin does not matter: the walk starts where the cycles
// part.
TEST(GraphTest, SearchStartsWhereTheCyclesPart) {
  TwoWays t;
  const Texts expected = {"(or (or (not c3) (not c4)) (<= x2 (+ x1 3)))",
                          "(or (not c1) (<= x2 (+ x1 3)))"};

  EXPECT_EQ(t.learn({4, 2}, {8, 4, 6}), expected);
  EXPECT_EQ(t.learn({2, 4}, {4, 6, 8}), expected);
  EXPECT_EQ(t.learn({4, 2}, {6, 8, 4}), expected);
}

// Two edges that start and end together are detours of each other.
TEST(GraphTest, SearchOfParallelEdgesLearnsTwoShortLemmas) {
  LearningGraph t;
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 1, -5);
  t.tell(3, 1, 2, -4);

  EXPECT_EQ(t.learn({2, 4}, {6, 4}), (Texts{"(or (not c3) (<= x2 (+ x1 1)))",
                                            "(or (not c1) (<= x2 (+ x1 1)))"}));
}

/// From node 1 to node 9 in two steps of 5 (constraints 1, 2) or four steps of
/// 1 (constraints 3 to 6); back over constraint 7.
struct TwoAgainstFour : LearningGraph {
  TwoAgainstFour() {
    tell(1, 1, 2, 5);
    tell(2, 2, 9, 5);
    tell(3, 1, 3, 1);
    tell(4, 3, 4, 1);
    tell(5, 4, 5, 1);
    tell(6, 5, 9, 1);
    tell(7, 9, 1, -20);
  }
};

constexpr char kFourSteps[] =
    "(or (or (or (or (not c3) (not c4)) (not c5)) (not c6)) "
    "(<= x9 (+ x1 10)))";
constexpr char kTwoSteps[] = "(or (or (not c1) (not c2)) (<= x9 (+ x1 10)))";

// Both sides move until one reaches a common node. While it waits, its last
// edge counts once, in the sum and among the premises.
TEST(GraphTest, SearchCountsEdgesOfAWaitingPreviousCycleOnce) {
  TwoAgainstFour t;

  EXPECT_EQ(t.learn({2, 4, 14}, {6, 8, 10, 12, 14}),
            (Texts{kFourSteps, kTwoSteps}));
}

// The same with the current cycle waiting.
TEST(GraphTest, SearchCountsEdgesOfAWaitingCurrentCycleOnce) {
  TwoAgainstFour t;

  EXPECT_EQ(t.learn({6, 8, 10, 12, 14}, {2, 4, 14}),
            (Texts{kTwoSteps, kFourSteps}));
}

// Detours of equal length meet without waiting.
TEST(GraphTest, SearchOfEqualDetoursWalksInStep) {
  LearningGraph t;
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 3, 2);
  t.tell(3, 3, 4, 3);
  t.tell(4, 4, 1, -30);
  t.tell(5, 1, 5, 7);
  t.tell(6, 5, 6, 0);
  t.tell(7, 6, 4, -2);

  EXPECT_EQ(t.learn({2, 4, 6, 8}, {10, 12, 14, 8}),
            (Texts{"(or (or (or (not c5) (not c6)) (not c7)) "
                   "(<= x4 (+ x1 6)))",
                   "(or (or (or (not c1) (not c2)) (not c3)) "
                   "(<= x4 (+ x1 6)))"}));
}

/// Two cycles that part twice and share two runs of two edges.
///
///   previous:  1 -c1-> 2 -c2-> 3 -c3-> 4 -c4-> 5 -c5-> 8 -c6-> 1
///   current:   1 -c7-> 6 -c8-> 2 (c2, c3)  4 -c9-> 7 -c10-> 5 (c5, c6)
struct TwoDetoursTwoRuns : LearningGraph {
  TwoDetoursTwoRuns() {
    tell(1, 1, 2, 1);
    tell(2, 2, 3, 2);
    tell(3, 3, 4, 3);
    tell(4, 4, 5, 4);
    tell(5, 5, 8, 5);
    tell(6, 8, 1, -40);
    tell(7, 1, 6, 1);
    tell(8, 6, 2, 1);
    tell(9, 4, 7, 1);
    tell(10, 7, 5, 1);
  }
  const EdgeIds prev = {2, 4, 6, 8, 10, 12};
  const EdgeIds cur = {14, 16, 4, 6, 18, 20, 10, 12};
};

const Texts& lemmas_from_node_4() {
  static const Texts kLemmas = {
      "(or (or (not c9) (not c10)) (<= x5 (+ x4 4)))",
      "(or (not c4) (<= x5 (+ x4 4)))",
      "(or (or (not c5) (not c6)) (<= x1 (+ x5 -35)))",
      "(or (or (not c7) (not c8)) (<= x2 (+ x1 2)))",
      "(or (not c1) (<= x2 (+ x1 2)))",
      "(or (or (not c2) (not c3)) (<= x4 (+ x2 5)))"};
  return kLemmas;
}

// A run ends where the cycles part, and the last one where the walk ends; all
// sums, lists and flags start afresh for each detour and each run.
TEST(GraphTest, SearchLearnsRunsAndDetoursInTheOrderOfTheWalk) {
  TwoDetoursTwoRuns t;

  EXPECT_EQ(t.learn(t.prev, t.cur), lemmas_from_node_4());
  EXPECT_EQ(Inspector::num_short_tlemmas(t.graph), 4U);
  EXPECT_EQ(Inspector::num_long_tlemmas(t.graph), 2U);
  EXPECT_EQ(t.searches(), 1U);
}

// However the two vectors are rotated, runs are followed over their ends. Only
// the order of the lemmas depends on where the previous cycle begins: the walk
// starts at the parting that comes last there.
TEST(GraphTest, SearchFollowsRunsRoundTheEndsOfTheVectors) {
  Texts from_node_1 = lemmas_from_node_4();
  std::rotate(from_node_1.begin(), from_node_1.begin() + 3, from_node_1.end());
  TwoDetoursTwoRuns t;
  for (int p = 0; p < 6; ++p) {
    EdgeIds prev = t.prev;
    std::rotate(prev.begin(), prev.begin() + p, prev.end());
    const bool from_4 = p == 0 || p >= 4;
    for (int c = 0; c < 8; ++c) {
      SCOPED_TRACE(testing::Message() << "rotated by " << p << ", " << c);
      EdgeIds cur = t.cur;
      std::rotate(cur.begin(), cur.begin() + c, cur.end());

      EXPECT_EQ(t.learn(prev, cur),
                from_4 ? lemmas_from_node_4() : from_node_1);
    }
  }
}

// Exchanging the cycles exchanges the premises of each pair of short lemmas.
TEST(GraphTest, SearchOfExchangedCyclesExchangesTheShortLemmas) {
  TwoDetoursTwoRuns t;
  Texts expected = lemmas_from_node_4();
  std::swap(expected[0], expected[1]);
  std::swap(expected[3], expected[4]);

  EXPECT_EQ(t.learn(t.cur, t.prev), expected);
}

// Bit 1 of the setting is short lemmas, bit 2 long ones. What is not asked for
// is walked over all the same.
TEST(GraphTest, SearchLearnsTheKindsThatAreSwitchedOn) {
  TwoDetoursTwoRuns t;
  const Texts& all = lemmas_from_node_4();

  t.config.dl_tlemma_kinds = 1;
  EXPECT_EQ(t.learn(t.prev, t.cur), (Texts{all[0], all[1], all[3], all[4]}));
  t.config.dl_tlemma_kinds = 2;
  EXPECT_EQ(t.learn(t.prev, t.cur), (Texts{all[2], all[5]}));
  t.config.dl_tlemma_kinds = 3;
  EXPECT_EQ(t.learn(t.prev, t.cur), all);
  EXPECT_EQ(t.searches(), 3U);
}

// Bits without a meaning make a search that learns nothing.
TEST(GraphTest, SearchOfUnknownKindsIsCountedAndLearnsNothing) {
  TwoDetoursTwoRuns t;

  t.config.dl_tlemma_kinds = 4;
  EXPECT_EQ(t.learn(t.prev, t.cur), Texts());
  EXPECT_EQ(t.searches(), 1U);
  t.config.dl_tlemma_kinds = 7;
  EXPECT_EQ(t.learn(t.prev, t.cur), lemmas_from_node_4());
}

// Kinds 0 switch the search off altogether.
TEST(GraphTest, SearchWithKindsZeroDoesNothing) {
  TwoDetoursTwoRuns t;
  t.config.dl_tlemma_kinds = 0;

  EXPECT_EQ(t.learn(t.prev, t.cur), Texts());

  EXPECT_EQ(t.searches(), 0U);
  EXPECT_EQ(t.terms.made, Texts());
}

// The first conflict has nothing to be compared with.
TEST(GraphTest, SearchWithoutPreviousConflictDoesNothing) {
  TwoDetoursTwoRuns t;

  EXPECT_EQ(t.learn({}, t.cur), Texts());

  EXPECT_EQ(t.searches(), 0U);
  EXPECT_EQ(t.terms.made, Texts());
}

// Without a current conflict the search is counted and has nothing to walk.
TEST(GraphTest, SearchWithoutCurrentConflictIsCountedOnly) {
  TwoDetoursTwoRuns t;

  EXPECT_EQ(t.learn(t.prev, {}), Texts());

  EXPECT_EQ(t.searches(), 1U);
  EXPECT_EQ(t.terms.made, Texts());
}

// Summing up must not write into the edges' own weights.
TEST(GraphTest, SearchLeavesTheWeightsOfTheEdgesAlone) {
  TwoDetoursTwoRuns t;

  t.learn(t.prev, t.cur);
  t.learn(t.cur, t.prev);

  EXPECT_EQ(t.graph.get_edge(4).to_str(), edge(2, 3, 2).to_str());
  EXPECT_EQ(t.graph.get_edge(18).to_str(), edge(4, 7, 1).to_str());
  EXPECT_EQ(t.graph.get_edge(12).to_str(), edge(8, 1, -40).to_str());
  EXPECT_EQ(t.learn(t.prev, t.cur), lemmas_from_node_4());
}

/// A run of three edges, from node 1 to node 4; back over constraint 4, or over
/// 5 and 6. The cycles have 4 and 5 edges and share 3: similarity 0.6.
struct ThreeShared : LearningGraph {
  ThreeShared() {
    tell(1, 1, 2, 1);
    tell(2, 2, 3, 2);
    tell(3, 3, 4, 3);
    tell(4, 4, 1, -10);
    tell(5, 4, 5, -11);
    tell(6, 5, 1, 0);
  }
  const EdgeIds four = {2, 4, 6, 8};
  const EdgeIds five = {2, 4, 6, 10, 12};
};

// One lemma for the run: the sum of its weights, from its first source to its
// last target.
TEST(GraphTest, SearchOfSharedRunLearnsOneLongLemma) {
  ThreeShared t;
  t.config.dl_tlemma_kinds = 2;

  EXPECT_EQ(t.learn(t.four, t.five),
            Texts{"(or (or (or (not c1) (not c2)) (not c3)) "
                  "(<= x4 (+ x1 6)))"});
}

// 3 of 5: a setting of 0.6 still searches, in single precision like the
// setting; it is the larger cycle that counts.
TEST(GraphTest, SearchRunsAtExactlyTheLeastOverlap) {
  ThreeShared t;
  t.config.dl_tlemma_min_overlap = 0.6F;

  EXPECT_EQ(t.learn(t.four, t.five).size(), 3U);
  EXPECT_EQ(t.searches(), 1U);
  EXPECT_EQ(t.learn(t.five, t.four).size(), 3U);
  EXPECT_EQ(t.searches(), 2U);
}

// Just above, nothing happens.
TEST(GraphTest, SearchBelowTheLeastOverlapDoesNothing) {
  ThreeShared t;
  t.config.dl_tlemma_min_overlap = 0.61F;

  EXPECT_EQ(t.learn(t.four, t.five), Texts());
  EXPECT_EQ(t.learn(t.five, t.four), Texts());

  EXPECT_EQ(t.searches(), 0U);
  EXPECT_EQ(t.terms.made, Texts());
}

// The settings are read at each use.
TEST(GraphTest, SearchReadsItsSettingsEachTime) {
  ThreeShared t;
  t.config.dl_tlemma_min_overlap = 1.0F;
  EXPECT_EQ(t.learn(t.four, t.five), Texts());

  t.config.dl_tlemma_min_overlap = 0.5F;
  EXPECT_EQ(t.learn(t.four, t.five).size(), 3U);
}

// The overlap counts distinct edges against sizes with repetitions.
TEST(GraphTest, SearchCountsRepeatedSharedEdgesOnce) {
  TwoWays t;

  t.config.dl_tlemma_min_overlap = 0.7F;
  EXPECT_EQ(t.learn({2, 4, 6}, {2, 2, 4}), Texts());
  EXPECT_EQ(t.learn({2, 2, 4}, {2, 4, 6}), Texts());
  t.config.dl_tlemma_min_overlap = 0.6F;
  EXPECT_EQ(t.learn({2, 4}, {2, 2, 2, 4}), Texts());
  EXPECT_EQ(t.learn({2, 2, 6}, {2, 2, 4}), Texts());
  EXPECT_EQ(t.searches(), 0U);
}

// Full overlap is 1: the same cycle found again, in step from its first edge.
TEST(GraphTest, SearchOfTheSameCycleFromAnotherEdgeLearnsOneLongLemma) {
  LearningGraph t;
  t.config.dl_tlemma_min_overlap = 1.0F;
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 3, 1);
  t.tell(3, 3, 1, -3);

  EXPECT_EQ(t.learn({2, 4, 6}, {4, 6, 2}),
            Texts{"(or (or (or (not c2) (not c3)) (not c1)) "
                  "(<= x2 (+ x2 -1)))"});
  EXPECT_EQ(t.learn({2, 4, 6}, {2, 4, 6}),
            Texts{"(or (or (or (not c1) (not c2)) (not c3)) "
                  "(<= x1 (+ x1 -1)))"});
}

// The same self loop again is a run of one edge, which teaches nothing.
TEST(GraphTest, SearchOfTheSameSelfLoopLearnsNothing) {
  LearningGraph t;
  t.tell(1, 1, 1, -1);

  EXPECT_EQ(t.learn({2}, {2}), Texts());
  EXPECT_EQ(t.searches(), 1U);
}

// A single shared edge between two detours, too.
TEST(GraphTest, SearchOfOneEdgeRunLearnsNoLongLemma) {
  LearningGraph t;
  t.config.dl_tlemma_kinds = 2;
  t.tell(1, 1, 2, 1);
  t.tell(2, 2, 3, 1);
  t.tell(3, 3, 1, -9);
  t.tell(4, 1, 2, 2);
  t.tell(5, 3, 1, -8);

  EXPECT_EQ(t.learn({2, 4, 6}, {8, 4, 10}), Texts());
  t.config.dl_tlemma_kinds = 1;
  EXPECT_EQ(t.learn({2, 4, 6}, {8, 4, 10}).size(), 4U);
}

// Cycles without a common node end the walk with the shorter one.
TEST(GraphTest, SearchOfUnrelatedCyclesIsCountedAndLearnsNothing) {
  LearningGraph t;
  t.tell(1, 1, 2, -1);
  t.tell(2, 2, 1, 0);
  t.tell(3, 3, 4, -1);
  t.tell(4, 4, 5, 0);
  t.tell(5, 5, 3, 0);

  EXPECT_EQ(t.learn({2, 4}, {6, 8, 10}), Texts());
  EXPECT_EQ(t.learn({6, 8, 10}, {2, 4}), Texts());

  EXPECT_EQ(t.searches(), 2U);
  EXPECT_EQ(t.terms.made, Texts());
}

// An edge with id 0 does not count as leaving its node: node 2 is not taken
// for a common one, nobody waits there, and the detours are missed.
TEST(GraphTest, SearchTakesEdgeZeroForNoEdge) {
  LearningGraph t;
  t.tell(0, 2, 1, -5);
  t.tell(1, 1, 2, 1);
  t.tell(3, 1, 3, 2);
  t.tell(4, 3, 2, 1);

  EXPECT_EQ(t.learn({2, 0}, {6, 8, 0}), Texts());
  EXPECT_EQ(t.searches(), 1U);
}

// A conflict can name an edge that is no longer there, which has no ends to
// walk along: the search is counted, the walk left out.
TEST(GraphTest, SearchOfConflictWithUnregisteredEdgeIsCountedOnly) {
  TwoWays of_previous;
  of_previous.graph.retract_edge(1);
  EXPECT_EQ(of_previous.learn({2, 4}, {6, 8, 4}), Texts());
  EXPECT_EQ(of_previous.searches(), 1U);
  EXPECT_EQ(of_previous.terms.made, Texts());
  EXPECT_FALSE(of_previous.is_registered(2));

  TwoWays of_current;
  of_current.graph.retract_edge(4);
  EXPECT_EQ(of_current.learn({2, 4}, {6, 8, 4}), Texts());
  EXPECT_EQ(of_current.searches(), 1U);
  EXPECT_EQ(of_current.terms.made, Texts());
  EXPECT_FALSE(of_current.is_registered(8));
}

// The similarity of such conflicts still goes by their ids.
TEST(GraphTest, SearchOfConflictWithUnregisteredEdgeStillNeedsTheOverlap) {
  TwoWays t;
  t.config.dl_tlemma_min_overlap = 0.4F;
  t.graph.retract_edge(1);

  t.learn({2, 4}, {6, 8, 4});

  EXPECT_EQ(t.searches(), 0U);
}

/// The two cycles over nodes 1 to 3, in one direction and in the other: each
/// side of the walk comes to wait at a node of both, and not at the same one.
struct OppositeCycles : LearningGraph {
  OppositeCycles() {
    tell(1, 1, 2, -1);
    tell(2, 2, 3, 0);
    tell(3, 3, 1, 0);
    tell(4, 1, 3, -1);
    tell(5, 3, 2, 0);
    tell(6, 2, 1, 0);
    prev_conflict() = {2, 4, 6};
    cur_conflict() = {8, 10, 12};
  }
};

/// Searches for a quarter of a second of processor time, then is killed; ends
/// the process in good order if the search comes to an end.
void search_with_a_time_limit(OppositeCycles* t) {
  itimerval limit{};
  limit.it_value.tv_usec = 250000;
  setitimer(ITIMER_VIRTUAL, &limit, nullptr);
  Inspector::do_search_lemmas(t->graph);
  std::exit(0);
}

// The walk repeats a step without end in that state, by definition; a host
// must not count on a limit that is not there.
TEST(GraphDeathTest, SearchOfCyclesInOppositeDirectionsDoesNotEnd) {
  OppositeCycles t;

  EXPECT_EXIT(search_with_a_time_limit(&t), testing::KilledBySignal(SIGVTALRM),
              "");
}

// With the guard the same search comes back, has done nothing, and is counted.
TEST(GraphTest, GuardLeavesOutASearchThatWouldNotEnd) {
  OppositeCycles t;
  EXPECT_EQ(t.graph.num_endless_walks(), 0U);
  t.graph.guard_lemma_walks(true);

  Inspector::do_search_lemmas(t.graph);
  Inspector::do_search_lemmas(t.graph);

  EXPECT_EQ(t.graph.num_endless_walks(), 2U);
  EXPECT_EQ(t.searches(), 0U);
  EXPECT_FALSE(t.graph.has_lemmas());
  EXPECT_EQ(t.terms.made, Texts());
  EXPECT_EQ(t.prev_conflict(), (EdgeIds{2, 4, 6}));
  EXPECT_EQ(t.cur_conflict(), (EdgeIds{8, 10, 12}));
}

// A guard that is taken off guards no more; a host sees what it has asked for.
TEST(GraphDeathTest, SearchAfterTheGuardIsTakenOffDoesNotEnd) {
  OppositeCycles t;
  t.graph.guard_lemma_walks(true);
  t.graph.guard_lemma_walks(false);

  EXPECT_EXIT(search_with_a_time_limit(&t), testing::KilledBySignal(SIGVTALRM),
              "");
}

// The guard changes nothing for any search that ends.
TEST(GraphTest, GuardLeavesSearchesAloneThatEnd) {
  using Prepare = void (*)(TwoDetoursTwoRuns&);
  const std::vector<Prepare> cases = {
      [](TwoDetoursTwoRuns&) {},
      [](TwoDetoursTwoRuns& t) { t.prev_conflict() = t.prev; },
      [](TwoDetoursTwoRuns& t) { t.cur_conflict() = t.cur; },
      [](TwoDetoursTwoRuns& t) {
        t.prev_conflict() = t.prev;
        t.cur_conflict() = t.cur;
      },
      [](TwoDetoursTwoRuns& t) {
        t.prev_conflict() = t.cur;
        t.cur_conflict() = t.cur;
      }};
  std::size_t made = 0;
  for (const Prepare prepare : cases) {
    TwoDetoursTwoRuns plain;
    TwoDetoursTwoRuns guarded;
    guarded.graph.guard_lemma_walks(true);
    prepare(plain);
    prepare(guarded);

    Inspector::do_search_lemmas(plain.graph);
    Inspector::do_search_lemmas(guarded.graph);

    EXPECT_EQ(guarded.terms.made, plain.terms.made);
    EXPECT_EQ(guarded.searches(), plain.searches());
    EXPECT_EQ(guarded.graph.num_endless_walks(), 0U);
    made += plain.terms.made.size();
  }
  EXPECT_GT(made, 0U);
}

// No walk, no end to miss: too little overlap, no kind of lemma, or an unknown
// edge.
TEST(GraphTest, GuardCountsNoWalkThatIsNotBegun) {
  OppositeCycles t;
  t.graph.guard_lemma_walks(true);
  const int kinds = t.config.dl_tlemma_kinds;
  t.config.dl_tlemma_kinds = 0;
  Inspector::do_search_lemmas(t.graph);
  t.config.dl_tlemma_kinds = kinds;
  t.config.dl_tlemma_min_overlap = 0.1F;
  Inspector::do_search_lemmas(t.graph);
  t.config.dl_tlemma_min_overlap = 0.0F;
  t.graph.retract_edge(2);
  Inspector::do_search_lemmas(t.graph);

  EXPECT_EQ(t.graph.num_endless_walks(), 0U);
  EXPECT_EQ(t.searches(), 1U);
  EXPECT_FALSE(t.is_registered(4));
}

// End to end: the check that finds the second conflict returns.
TEST(GraphTest, GuardedCheckReturnsFromOppositeCycles) {
  OppositeCycles t;
  t.graph.guard_lemma_walks(true);
  t.prev_conflict().clear();
  t.cur_conflict().clear();
  ASSERT_FALSE(t.activate({1, 2, 3}));
  t.pop({1, 2, 3});

  EXPECT_FALSE(t.activate({4, 5, 6}));

  EXPECT_EQ(t.graph.num_endless_walks(), 1U);
  EXPECT_EQ(t.conflict_set().size(), 3U);
  EXPECT_FALSE(t.graph.has_lemmas());
}

// End to end: two checks that fail one after the other.
TEST(GraphTest, FailingChecksLearnFromTheirLastTwoConflicts) {
  TwoWays t;
  ASSERT_TRUE(t.activate({2}));
  ASSERT_FALSE(t.activate({1}));
  EXPECT_FALSE(t.graph.has_lemmas());
  t.pop({1});
  ASSERT_TRUE(t.activate({3}));

  ASSERT_FALSE(t.activate({4}));

  EXPECT_EQ(t.prev_conflict(), (EdgeIds{2, 4}));
  EXPECT_EQ(t.cur_conflict(), (EdgeIds{8, 4, 6}));
  EXPECT_EQ(t.take_lemmas(),
            (Texts{"(or (or (not c3) (not c4)) (<= x2 (+ x1 3)))",
                   "(or (not c1) (<= x2 (+ x1 3)))"}));
}

// A retracted constraint of the previous conflict, end to end.
TEST(GraphTest, FailingCheckAfterARetractionLearnsNothing) {
  TwoWays t;
  ASSERT_TRUE(t.activate({2}));
  ASSERT_FALSE(t.activate({1}));
  t.pop({1});
  t.graph.retract_edge(1);
  ASSERT_TRUE(t.activate({3}));

  ASSERT_FALSE(t.activate({4}));

  EXPECT_FALSE(t.graph.has_lemmas());
  EXPECT_EQ(t.searches(), 1U);
}

}  // namespace
}  // namespace vorn::dl
