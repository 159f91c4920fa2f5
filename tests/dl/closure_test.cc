// SPDX-License-Identifier: MIT
#include "vorn/dl/closure.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/numbers/allocation_hooks.h"
#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

// The closure by hand, where a random trace would have to be lucky; the random
// tests compare everything else.

namespace vorn::dl {
namespace {

using Numbers = std::vector<int>;

/// One of its ways, for as long as it does not have to change.
Closure::Limits way(bool matrix) {
  Closure::Limits limits;
  if (!matrix) limits.matrix_bytes = 0;
  return limits;
}

struct Host {
  Closure closure;

  explicit Host(const Closure::Limits& limits) : closure(limits) {}

  void tell(int k, int source, int target, const la::DNumber& weight) {
    closure.tell_edge(k, Edge(source, target, weight, k));
  }
  void tell(int k, int source, int target, std::int64_t weight) {
    tell(k, source, target, {QNumber::from_word(weight), QNumber()});
  }
  bool push(const Numbers& constraints) {
    bool consistent = true;
    for (const int k : constraints) {
      consistent = closure.push_edge(k) && consistent;
    }
    return consistent;
  }
  void pop(int count = 1) {
    while (count-- > 0) closure.pop_edge();
  }
  /// The consequences that there are.
  Numbers take() {
    Numbers taken;
    int k = -1;
    while (closure.next_consequence(&k)) taken.push_back(k);
    return taken;
  }
  Numbers path(int k) const {
    Numbers path;
    closure.get_path(k, &path);
    return path;
  }
  std::string bound(int source, int target) const {
    la::DNumber weight;
    if (!closure.tightest_bound(source, target, &weight, nullptr)) return "";
    return weight.to_str();
  }
};

class ClosureTest : public testing::TestWithParam<bool> {
 protected:
  Host host_{way(GetParam())};
};

INSTANTIATE_TEST_SUITE_P(Ways, ClosureTest, testing::Bool(),
                         [](const auto& ways) {
                           return ways.param ? "Matrix" : "Paths";
                         });

// A host would drown in what follows from what it was told a moment before.
TEST_P(ClosureTest, PushReportsOnlyTightestBoundOfPair) {
  host_.tell(1, 1, 2, 3);
  host_.tell(2, 2, 3, 4);
  host_.tell(9, 1, 3, 9);
  host_.tell(6, 1, 3, 6);
  host_.tell(8, 1, 3, 8);
  host_.tell(7, 1, 3, 7);
  host_.tell(5, 3, 1, 7);

  ASSERT_TRUE(host_.push({1, 2}));

  EXPECT_EQ(host_.take(), Numbers{7});
  for (const int k : {7, 8, 9}) {
    EXPECT_TRUE(host_.closure.is_known(k)) << k;
    EXPECT_EQ(host_.path(k), (Numbers{1, 2})) << k;
  }
  EXPECT_FALSE(host_.closure.is_known(6));
  EXPECT_FALSE(host_.closure.is_known(5));
  EXPECT_EQ(host_.closure.counters().consequences, 1U);
}

// Two names for one bound: each follows from the other, and a host that clears
// the way from one to the other would otherwise be told of its own decision.
TEST_P(ClosureTest, EqualWeightToldTwiceIsKnownByItsTwin) {
  host_.tell(1, 1, 2, 3);
  host_.tell(2, 1, 2, 3);

  ASSERT_TRUE(host_.push({1}));

  EXPECT_EQ(host_.take(), Numbers());
  EXPECT_TRUE(host_.closure.is_known(2));
  EXPECT_EQ(host_.path(2), Numbers{1});
  ASSERT_TRUE(host_.push({2}));
  EXPECT_EQ(host_.path(2), Numbers{1});
  EXPECT_EQ(host_.closure.num_active(), 2U);
  EXPECT_EQ(host_.closure.counters().activations, 1U);
  host_.pop(2);
  EXPECT_FALSE(host_.closure.is_known(1));
  EXPECT_FALSE(host_.closure.is_known(2));
}

// An assigned consequence is explained by what showed it, never by itself:
// otherwise an explanation goes round in circles.
TEST_P(ClosureTest, PushOfConsequenceKeepsItsPath) {
  host_.tell(1, 1, 2, 3);
  host_.tell(2, 2, 3, 4);
  host_.tell(3, 1, 3, 7);
  host_.tell(4, 3, 4, 1);
  host_.tell(5, 1, 4, 8);
  ASSERT_TRUE(host_.push({1, 2, 3, 4}));

  EXPECT_EQ(host_.take(), (Numbers{3, 5}));
  EXPECT_EQ(host_.path(3), (Numbers{1, 2}));
  EXPECT_EQ(host_.path(5), (Numbers{1, 2, 4}));
  EXPECT_EQ(host_.path(4), Numbers{4});
  EXPECT_EQ(host_.closure.counters().activations, 3U);
  // It was handed out before the pop, and is not again.
  host_.pop();
  EXPECT_EQ(host_.take(), Numbers());
  EXPECT_TRUE(host_.closure.is_known(3));
  EXPECT_FALSE(host_.closure.is_known(5));
  ASSERT_TRUE(host_.push({4}));
  EXPECT_EQ(host_.take(), Numbers{5});
}

// Of parallel edges the shorter counts while it is active, and the longer one
// again after that.
TEST_P(ClosureTest, ParallelEdgesCountByTheirWeights) {
  host_.tell(1, 1, 2, 5);
  host_.tell(2, 1, 2, la::DNumber(5, -1));
  host_.tell(3, 2, 1, -5);
  ASSERT_TRUE(host_.push({1}));
  EXPECT_EQ(host_.bound(1, 2), "5");

  ASSERT_TRUE(host_.push({2}));

  EXPECT_EQ(host_.bound(1, 2), "5 - eps");
  EXPECT_EQ(host_.path(1), Numbers{1});
  EXPECT_EQ(host_.path(2), Numbers{2});
  EXPECT_FALSE(host_.push({3}));
  EXPECT_EQ(host_.closure.num_active(), 2U);
  host_.pop();
  EXPECT_TRUE(host_.push({3}));
  EXPECT_EQ(host_.bound(1, 2), "5");
  EXPECT_EQ(host_.bound(2, 1), "-5");
}

// x - x <= w is a bound like any other to a host that does not look.
TEST_P(ClosureTest, LoopIsRefusedExactlyIfItsWeightIsNegative) {
  host_.tell(1, 1, 1, 0);
  host_.tell(2, 1, 1, la::DNumber(0, -1));
  host_.tell(3, 1, 1, la::DNumber(0, 1));

  EXPECT_FALSE(host_.push({2}));
  EXPECT_EQ(host_.closure.num_active(), 0U);
  EXPECT_TRUE(host_.push({3, 1}));
  EXPECT_EQ(host_.path(1), Numbers{1});
  EXPECT_EQ(host_.bound(1, 1), "0");
}

// A weight may stand in the big form although it is small. As a scale's step it
// would be read as an address.
TEST_P(ClosureTest, BigFormOfSmallWeightsIsNoHindrance) {
  const QNumber huge = *QNumber::from_string("9223372036854775808");
  const auto in_big_form = [&huge](int n) {
    QNumber q = huge;
    q += QNumber(n);
    q -= huge;
    return q;
  };
  ASSERT_FALSE(in_big_form(-1).is_word());
  host_.tell(1, 1, 2, {in_big_form(3), in_big_form(-1)});
  host_.tell(2, 2, 3, {in_big_form(4), in_big_form(1)});
  host_.tell(3, 1, 3, 7);

  ASSERT_TRUE(host_.push({1, 2}));

  EXPECT_EQ(host_.bound(1, 2), "3 - eps");
  EXPECT_EQ(host_.bound(1, 3), "7");
  EXPECT_EQ(host_.take(), Numbers{3});
}

// The longest path that there is, for weights of each size: the sums take all
// the room that words of 32 and of 64 bits leave them, or just too much.
TEST_P(ClosureTest, SumsOfEachSizeAreExact) {
  constexpr int kEdges = 7;
  for (unsigned bits = 16; bits < 70; ++bits) {
    SCOPED_TRACE(bits);
    QNumber limit(1);
    for (unsigned i = 0; i < bits; ++i) limit += limit;
    QNumber most = limit;
    most -= QNumber(1);
    QNumber sum = most;
    sum *= QNumber(kEdges);
    Host host(way(GetParam()));
    for (int node = 0; node < kEdges; ++node) {
      host.tell(3 * node, node, node + 1, {most, QNumber()});
      host.tell(3 * node + 1, node + 1, node, {-most, QNumber()});
      host.tell(3 * node + 2, node + 1, node, {-limit, QNumber()});
    }

    // From both ends, then what joins them.
    ASSERT_TRUE(host.push({0, 18, 3, 15, 6, 12, 9}));
    EXPECT_EQ(host.bound(0, kEdges), sum.to_str());
    for (int node = 0; node < kEdges; ++node) {
      EXPECT_FALSE(host.push({3 * node + 2}));
      ASSERT_TRUE(host.push({3 * node + 1}));
    }
    EXPECT_EQ(host.bound(kEdges, 0), (-sum).to_str());
    EXPECT_EQ(host.bound(0, kEdges), sum.to_str());
  }
}

// A bound that a host makes under way: it counts as long as the decision under
// which it was made, since then the host would have to be told again.
TEST(ClosureMatrixTest, ToldWhileItFollowsIsForgottenWithLatestActivation) {
  Host host(way(true));
  host.tell(1, 1, 2, 3);
  host.tell(2, 2, 3, 4);
  host.tell(3, 3, 4, 5);
  ASSERT_TRUE(host.push({1, 2, 3}));
  EXPECT_EQ(host.take(), Numbers());

  host.tell(4, 1, 3, 7);
  host.tell(5, 1, 3, 6);

  EXPECT_EQ(host.take(), Numbers{4});
  EXPECT_EQ(host.path(4), (Numbers{1, 2}));
  EXPECT_FALSE(host.closure.is_known(5));
  host.pop();
  EXPECT_FALSE(host.closure.is_known(4));
  host.pop();
  // From now on it was told before.
  ASSERT_TRUE(host.push({2}));
  EXPECT_EQ(host.take(), Numbers{4});
}

// A rebuild must not lose what no push finds again; a host that has been told
// of a consequence may ask for its path at any time.
TEST(ClosureMatrixTest, ToldLoopStaysKnownThroughRebuilds) {
  Closure::Limits limits;
  limits.matrix_bytes = 4096;
  Host host(limits);
  host.tell(1, 1, 2, 3);
  ASSERT_TRUE(host.push({1}));
  ASSERT_TRUE(host.closure.uses_matrix());
  host.tell(2, 2, 2, 0);
  EXPECT_EQ(host.take(), Numbers{2});
  EXPECT_EQ(host.path(2), Numbers());

  // Other numbers, more rows, and more than the memory has room for.
  host.tell(3, 1, 2, std::int64_t{1} << 40U);
  EXPECT_TRUE(host.closure.is_known(2));
  EXPECT_TRUE(host.closure.uses_matrix());
  for (int node = 3; node <= 9; ++node) host.tell(node + 10, 1, node, 1);
  EXPECT_TRUE(host.closure.is_known(2));
  EXPECT_TRUE(host.closure.uses_matrix());
  EXPECT_EQ(host.closure.counters().rebuilds, 2U);
  for (int node = 10; node <= 40; ++node) host.tell(node + 10, 1, node, 1);

  EXPECT_FALSE(host.closure.uses_matrix());
  EXPECT_EQ(host.closure.matrix_bytes(), 0U);
  EXPECT_TRUE(host.closure.is_known(2));
  EXPECT_EQ(host.path(2), Numbers());
  host.pop();
  EXPECT_FALSE(host.closure.is_known(2));
}

// Cycles that show a loop need not run through the matrix's hub, and another
// matrix has another one: a report that depends on it would be taken back.
TEST(ClosureMatrixTest, LoopIsNotReportedForCycleThroughHub) {
  Host host(way(true));
  host.tell(1, 1, 1, 0);
  host.tell(2, 1, 2, 2);
  host.tell(3, 2, 1, -2);
  for (int node = 3; node < 7; ++node) host.tell(node + 1, 2, node, 1);
  ASSERT_TRUE(host.push({2, 3}));
  EXPECT_FALSE(host.closure.is_known(1));

  for (int node = 11; node < 20; ++node) host.tell(node, 10, node, 1);

  EXPECT_GT(host.closure.counters().rebuilds, 0U);
  EXPECT_FALSE(host.closure.is_known(1));
  ASSERT_TRUE(host.push({1}));
  EXPECT_EQ(host.path(1), Numbers{1});
}

// A way through the hub that has become shorter may not be the shortest, and
// then it shows nothing new.
TEST(ClosureMatrixTest, PushReportsNothingForWayThatIsNotShortest) {
  Host host(way(true));
  for (int node = 11; node < 16; ++node) host.tell(node, 0, node, 1);
  host.tell(1, 1, 3, 0);
  host.tell(2, 3, 2, 1);
  host.tell(3, 1, 0, 2);
  host.tell(4, 0, 2, 3);
  ASSERT_TRUE(host.push({1, 2, 11}));
  host.tell(5, 1, 2, 3);
  host.tell(6, 1, 2, 8);
  EXPECT_EQ(host.take(), Numbers{5});
  host.pop();
  ASSERT_FALSE(host.closure.is_known(6));

  ASSERT_TRUE(host.push({3, 4}));

  EXPECT_EQ(host.bound(1, 2), "1");
  EXPECT_EQ(host.take(), Numbers());
}

// The limit is there for hosts that have no more: a matrix that is given up has
// to go at once, and comes back when the host starts anew.
TEST(ClosureMatrixTest, MatrixStaysWithinItsMemory) {
  Closure::Limits limits;
  // The least matrix, and 64 improvements.
  limits.matrix_bytes = 2048;
  Host host(limits);
  constexpr int kNodes = 7;
  constexpr int kRounds = 20;
  for (int k = 0; k < kRounds * kNodes; ++k) {
    const int node = k % kNodes;
    host.tell(k, node, (node + 1) % kNodes, 1000 - k);
  }
  EXPECT_EQ(host.closure.matrix_bytes(), 0U);

  bool outgrown = false;
  for (int k = 0; k < kRounds * kNodes; ++k) {
    ASSERT_TRUE(host.push({k}));
    EXPECT_LE(host.closure.matrix_bytes(), limits.matrix_bytes);
    EXPECT_TRUE(k > 0 || host.closure.uses_matrix());
    outgrown = outgrown || !host.closure.uses_matrix();
  }

  EXPECT_TRUE(outgrown);
  EXPECT_EQ(host.closure.counters().rebuilds, 1U);
  const int last = kRounds * kNodes - 1;
  EXPECT_EQ(host.bound(kNodes - 1, 0), std::to_string(1000 - last));
  host.pop(kRounds * kNodes);
  host.tell(last + 1, 0, 1, 0);
  ASSERT_TRUE(host.push({last + 1}));
  EXPECT_TRUE(host.closure.uses_matrix());
}

// Potentials only fall: by 2^50 with each push here, thousands of times. In
// words that would end in an overflow, which the sanitizers see, if they were
// not made anew; and new ones have to satisfy all active edges.
TEST(ClosurePathsTest, PotentialsMayFallForever) {
  constexpr std::int64_t kFall = std::int64_t{1} << 50U;
  Host host(way(false));
  host.tell(1, 1, 2, -kFall);
  host.tell(2, 2, 1, -kFall);
  host.tell(3, 2, 3, 5);
  host.tell(4, 1, 3, 5 - kFall);
  host.tell(5, 1, 3, 4 - kFall);
  host.tell(6, 3, 1, -3 - kFall);
  for (int round = 0; round < 10000; ++round) {
    SCOPED_TRACE(round);
    ASSERT_TRUE(host.push({3, 1}));
    ASSERT_EQ(host.take(), Numbers{4});
    ASSERT_EQ(host.path(4), (Numbers{1, 3}));
    ASSERT_FALSE(host.push({2}));
    ASSERT_EQ(host.bound(1, 3), std::to_string(5 - kFall));
    host.pop();
    ASSERT_TRUE(host.push({2}));
    ASSERT_FALSE(host.push({1}));
    host.pop(2);
  }
  // No rebuild has helped.
  EXPECT_EQ(host.closure.counters().rebuilds, 0U);
}

// A node with very many edges must not make each push as slow as it is large.
TEST(ClosurePathsTest, PushTriesNoMoreEdgesThanItMay) {
  Closure::Limits limits;
  limits.matrix_bytes = 0;
  limits.path_steps = 10;
  Host host(limits);
  constexpr int kEdges = 1000;
  Numbers all;
  for (int k = 0; k < kEdges; ++k) {
    host.tell(k, 0, k + 1, 1);
    all.push_back(k);
  }
  host.tell(kEdges, kEdges + 1, 0, 1);
  ASSERT_TRUE(host.push(all));
  const std::uint64_t steps = host.closure.counters().steps;

  ASSERT_TRUE(host.push({kEdges}));

  // Both directions, an edge for four steps, and the bounds between what was
  // reached: no more than what is at hand.
  EXPECT_LE(host.closure.counters().steps - steps,
            (2 * 4 + 1) * limits.path_steps);
}

/// A search that pushes, explains and pops, always in the same way.
class Search {
 public:
  explicit Search(bool matrix) : host_(way(matrix)) {
    std::mt19937 random(7);
    for (int k = 0; k < kConstraints; ++k) {
      const auto source = static_cast<int>(random() % kNodes);
      auto target = static_cast<int>(random() % (kNodes - 1));
      if (target >= source) ++target;
      const auto r = static_cast<int>(random() % 100) - 20;
      host_.tell(k, source, target, la::DNumber(r, k % 3 == 0 ? -1 : 0));
    }
    path_.reserve(kConstraints);
  }

  void run() {
    std::mt19937 random(11);
    for (int step = 0; step < 3000; ++step) {
      const auto k = static_cast<int>(random() % kConstraints);
      const bool consistent = host_.closure.push_edge(k);
      int consequence = -1;
      while (host_.closure.next_consequence(&consequence)) {
        path_.clear();
        host_.closure.get_path(consequence, &path_);
        longest_ = path_.size() > longest_ ? path_.size() : longest_;
        ++num_paths_;
      }
      if (consistent) continue;
      for (auto count = 1 + random() % 12; count > 0; --count) {
        if (host_.closure.num_active() > 0) host_.pop();
      }
    }
    host_.pop(static_cast<int>(host_.closure.num_active()));
  }

  std::size_t num_paths() const { return num_paths_; }
  std::size_t longest() const { return longest_; }

 private:
  static constexpr int kNodes = 20;
  static constexpr int kConstraints = 300;

  Host host_;
  Numbers path_;
  std::size_t num_paths_ = 0;
  std::size_t longest_ = 0;
};

// What a search does all day must not go to the general allocator.
TEST_P(ClosureTest, PushExplainAndPopAllocateNothingOnceThereIsRoom) {
  Search search(GetParam());
  search.run();
  ASSERT_GT(search.num_paths(), 300U);
  ASSERT_GT(search.longest(), 4U);
  const std::size_t paths = search.num_paths();
  const std::size_t news = test::num_new();
  const std::size_t gmps = test::num_gmp();

  search.run();

  EXPECT_EQ(test::num_new(), news);
  EXPECT_EQ(test::num_gmp(), gmps);
  EXPECT_EQ(search.num_paths(), 2 * paths);
}

// Most bounds are between a node and the constant 0. If each moved what there
// is, telling them would take quadratic time.
TEST_P(ClosureTest, TellingManyBoundsOfOneNodeMovesThemSeldom) {
  constexpr std::size_t kBounds = 4000;
  const std::size_t news = test::num_new();

  for (int k = 0; k < static_cast<int>(kBounds); ++k) {
    host_.tell(k, 0, k + 1, 1);
  }

  // Each has a list of the pair's bounds, one of the node's pairs, and a place
  // in a hash table; and a number, of which a thread keeps some.
  EXPECT_LT(test::num_new() - news, 9 * kBounds / 2);
}

}  // namespace
}  // namespace vorn::dl
