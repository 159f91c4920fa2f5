// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/dl/exact.h"
#include "tests/dl/graph_under_test.h"
#include "vorn/dl/graph.h"

// Random hosts against the oracle: every verdict, potential and conflict of
// long runs of pushes, checks, pops, retractions and resets.

namespace vorn::dl {
namespace {

using dl_test::EdgeIds;
using dl_test::Exact;
using dl_test::ExactEdge;
using dl_test::GraphUnderTest;
using dl_test::Random;
using dl_test::to_edge;
using dl_test::to_exact;
using dl_test::to_number;
using dl_test::Weights;

/// What the runs have met, so that a test can tell that it tested something.
struct SeenInGraphs {
  int consistent = 0;
  int conflicts = 0;
  int long_conflicts = 0;
  int pairs_in_conflict = 0;
};

/// One random host: a graph and, on the side, what should be in it.
class RandomHost {
 public:
  RandomHost(unsigned seed, Weights weights, SeenInGraphs* seen)
      : random_(seed),
        weights_(weights),
        num_nodes_(random_.between(2, 7)),
        num_constraints_(random_.between(3, 20)),
        seen_(seen) {
    potentials_.resize(static_cast<std::size_t>(num_nodes_));
    tell_all();
  }

  void step() {
    switch (random_.between(0, 19)) {
      default:
        push_some();
        check();
        break;
      case 0:
      case 1:
      case 2:
      case 3:
        for (int k = random_.between(1, 3); k > 0; --k) pop_last();
        break;
      case 4:
      case 5:
        tell_anew();
        break;
      case 6:
        // Pushed and popped again before any check has seen them.
        for (int k = push_some(); k > 0; --k) pop_last();
        break;
      case 7:
        if (random_.one_in(4)) reset();
        break;
    }
    verify_state();
  }

 private:
  bool is_pushed(int k) const {
    return std::find(pushed_.begin(), pushed_.end(), k) != pushed_.end();
  }

  void tell(int k) {
    const bool pair = random_.one_in(3);
    for (int id = 2 * k; id <= 2 * k + (pair ? 1 : 0); ++id) {
      ExactEdge e{random_.between(0, num_nodes_ - 1),
                  random_.between(0, num_nodes_ - 1),
                  random_.weight(weights_, true)};
      // Mostly no self loops: half of them contradict themselves.
      if (e.source == e.target && !random_.one_in(4)) {
        e.target = (e.target + 1) % num_nodes_;
      }
      edges_[id] = e;
      known_.insert(e.source);
      known_.insert(e.target);
    }
    const Edge first = to_edge(edges_.at(2 * k), k);
    if (pair) {
      EXPECT_TRUE(
          t_.graph.tell_bi_edge(k, first, to_edge(edges_.at(2 * k + 1), k)));
    } else {
      EXPECT_TRUE(t_.graph.tell_edge(k, first));
    }
  }

  void tell_all() {
    // Constraint 0 is a constraint like any other outside of lemmas.
    for (int k = 0; k < num_constraints_; ++k) tell(k);
  }

  void tell_anew() {
    const int k = random_.between(0, num_constraints_ - 1);
    if (is_pushed(k)) return;
    EXPECT_TRUE(t_.graph.retract_edge(k));
    edges_.erase(2 * k);
    edges_.erase(2 * k + 1);
    tell(k);
  }

  void reset() {
    t_.graph.reset(random_.one_in(2));
    pushed_.clear();
    pending_.clear();
    active_.clear();
    edges_.clear();
    known_.clear();
    conflict_.clear();
    for (Exact& potential : potentials_) potential = Exact();
    tell_all();
  }

  /// Pushes some constraints that are not; returns how many.
  int push_some() {
    int count = 0;
    for (int tries = random_.between(1, 4); tries > 0; --tries) {
      const int k = random_.between(0, num_constraints_ - 1);
      if (is_pushed(k)) continue;
      EXPECT_TRUE(t_.graph.push_edge(k));
      pushed_.push_back(k);
      for (const int id : {2 * k, 2 * k + 1}) {
        if (edges_.count(id) != 0) pending_.push_back(id);
      }
      ++count;
    }
    return count;
  }

  void pop_last() {
    if (pushed_.empty()) return;
    const int k = pushed_.back();
    EXPECT_TRUE(t_.graph.pop_edge(k));
    pushed_.pop_back();
    for (EdgeIds* list : {&pending_, &active_}) {
      list->erase(std::remove_if(list->begin(), list->end(),
                                 [k](int id) { return id / 2 == k; }),
                  list->end());
    }
  }

  std::vector<ExactEdge> active_and(int id) const {
    std::vector<ExactEdge> edges;
    for (const int active : active_) edges.push_back(edges_.at(active));
    edges.push_back(edges_.at(id));
    return edges;
  }

  void check() {
    bool consistent = true;
    std::size_t done = 0;
    for (; done < pending_.size(); ++done) {
      const std::vector<ExactEdge> edges = active_and(pending_[done]);
      consistent = !dl_test::closes_negative_cycle(edges, potentials_.size());
      // The graph lowers what it must and no more, which is one particular
      // solution: the greatest below the potentials that it had.
      std::vector<Exact> lowered = potentials_;
      EXPECT_EQ(dl_test::relax(edges, lowered), consistent);
      if (!consistent) break;
      potentials_ = lowered;
      active_.push_back(pending_[done]);
    }
    pending_.erase(pending_.begin(),
                   pending_.begin() + static_cast<std::ptrdiff_t>(done));

    EXPECT_EQ(t_.graph.check(random_.one_in(2)), consistent);

    verify_state();
    if (consistent) {
      ++seen_->consistent;
      return;
    }
    verify_conflict(pending_.front());
    const int failing = pending_.front() / 2;
    while (is_pushed(failing)) pop_last();
    EXPECT_EQ(pending_, EdgeIds());
    if (random_.one_in(3)) pop_last();
  }

  // The latest conflict is a simple cycle of active edges and the new one, in
  // edge direction from the new one on, and its weight is negative.
  void verify_conflict(int new_edge) {
    ++seen_->conflicts;
    const EdgeIds previous = conflict_;
    conflict_ = t_.cur_conflict();
    EXPECT_EQ(t_.prev_conflict(), previous);
    ASSERT_FALSE(conflict_.empty());
    EXPECT_EQ(conflict_.front(), new_edge);
    Exact sum;
    std::set<int> sources;
    std::vector<int> constraints;
    for (std::size_t k = 0; k < conflict_.size(); ++k) {
      const int id = conflict_[k];
      ASSERT_EQ(edges_.count(id), 1U);
      EXPECT_TRUE(id == new_edge || std::find(active_.begin(), active_.end(),
                                              id) != active_.end());
      const ExactEdge& e = edges_.at(id);
      EXPECT_EQ(e.target,
                edges_.at(conflict_[(k + 1) % conflict_.size()]).source);
      EXPECT_TRUE(sources.insert(e.source).second) << "node " << e.source;
      sum = sum + e.weight;
      constraints.push_back(id / 2);
    }
    EXPECT_TRUE(sum < Exact()) << sum;
    EXPECT_EQ(t_.conflict_set(), constraints);
    if (conflict_.size() > 2) ++seen_->long_conflicts;
    if (std::set<int>(constraints.begin(), constraints.end()).size() <
        constraints.size()) {
      ++seen_->pairs_in_conflict;
    }
  }

  void verify_state() {
    EXPECT_EQ(t_.pending(), pending_);
    std::map<int, EdgeIds> active_at;
    for (const int id : active_) active_at[edges_.at(id).source].push_back(id);
    std::map<int, std::set<int>> notified_at;
    for (const auto& [id, e] : edges_) {
      if (std::find(active_.begin(), active_.end(), id) == active_.end()) {
        notified_at[e.source].insert(id);
      }
    }
    std::vector<Exact> own(potentials_.size());
    for (int n = 0; n < num_nodes_; ++n) {
      if (known_.count(n) == 0) {
        EXPECT_FALSE(t_.graph.var_is_known(n));
        continue;
      }
      SCOPED_TRACE("node " + std::to_string(n));
      const Exact cur = to_exact(Inspector::cur_beta(t_.graph).at(n));
      const Exact saved = to_exact(Inspector::saved_beta(t_.graph).at(n));
      EXPECT_EQ(cur, potentials_[static_cast<std::size_t>(n)]);
      EXPECT_EQ(saved, cur);
      EXPECT_EQ(to_exact(t_.graph.get_potential(n)), cur);
      own[static_cast<std::size_t>(n)] = cur;
      EXPECT_EQ(t_.active(n), active_at[n]);
      EdgeIds notified = t_.notified(n);
      std::sort(notified.begin(), notified.end());
      EXPECT_EQ(notified,
                EdgeIds(notified_at[n].begin(), notified_at[n].end()));
    }
    for (const int id : active_) {
      EXPECT_TRUE(edges_.at(id).satisfied_by(own)) << "edge " << id;
    }
    EXPECT_FALSE(t_.graph.has_negative_cycle(Inspector::cur_beta(t_.graph)));
    verify_probe();
  }

  // A random probe, near the potentials, so that both answers come up.
  void verify_probe() {
    std::vector<Exact> probe = potentials_;
    Exact& changed =
        probe[static_cast<std::size_t>(random_.between(0, num_nodes_ - 1))];
    changed = changed + random_.weight(weights_, true);
    Graph::Potentials pi;
    for (int n = 0; n < num_nodes_; ++n) {
      const Exact& value = probe[static_cast<std::size_t>(n)];
      if (!(value == Exact())) pi[n] = to_number(value);
    }
    const bool violated =
        std::any_of(active_.begin(), active_.end(),
                    [&](int id) { return !edges_.at(id).satisfied_by(probe); });
    EXPECT_EQ(t_.graph.has_negative_cycle(pi), violated);
  }

  Random random_;
  Weights weights_;
  int num_nodes_;
  int num_constraints_;
  SeenInGraphs* seen_;
  GraphUnderTest t_;
  std::map<int, ExactEdge> edges_;
  /// Nodes told since the last reset.
  std::set<int> known_;
  /// Constraints pushed and not popped, oldest first.
  std::vector<int> pushed_;
  EdgeIds pending_;
  /// In activation order.
  EdgeIds active_;
  std::vector<Exact> potentials_;
  /// The latest conflict, unless a reset came since.
  EdgeIds conflict_;
};

SeenInGraphs run(Weights weights, unsigned seeds) {
  SeenInGraphs seen;
  for (unsigned seed = 1; seed <= seeds; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomHost host(seed, weights, &seen);
    for (int step = 0; step < 60; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      host.step();
      if (testing::Test::HasFailure()) return seen;
    }
  }
  return seen;
}

constexpr unsigned kSeeds = 120;

void expect_much_was_seen(const SeenInGraphs& seen) {
  EXPECT_GT(seen.consistent, 500);
  EXPECT_GT(seen.conflicts, 200);
  EXPECT_GT(seen.long_conflicts, 50);
  EXPECT_GT(seen.pairs_in_conflict, 0);
}

// A wrong verdict, potential or conflict makes a host unsound.
TEST(RandomGraphTest, SmallIntegersAgreeWithBellmanFord) {
  expect_much_was_seen(run(Weights::kSmallIntegers, kSeeds));
}

// The same over fractions, where rounding would show.
TEST(RandomGraphTest, FractionsAgreeWithBellmanFord) {
  expect_much_was_seen(run(Weights::kFractions, kSeeds));
}

// The same with strict bounds, where the infinitesimals decide.
TEST(RandomGraphTest, StrictBoundsAgreeWithBellmanFord) {
  expect_much_was_seen(run(Weights::kStrict, kSeeds));
}

// The same at the limits of what a check reads as words: a run leaves words for
// exact numbers in its midst, and the words of its potentials are right again
// when later ones come back to them.
TEST(RandomGraphTest, TableWordLimitsAgreeWithBellmanFord) {
  expect_much_was_seen(run(Weights::kTableWord, kSeeds));
}

// The same at the limits of the machine word, where sums leave it and return.
TEST(RandomGraphTest, MachineWordLimitsAgreeWithBellmanFord) {
  expect_much_was_seen(run(Weights::kMachineWord, kSeeds));
}

// The same beyond the machine word.
TEST(RandomGraphTest, BigNumbersAgreeWithBellmanFord) {
  expect_much_was_seen(run(Weights::kBig, kSeeds));
}

}  // namespace
}  // namespace vorn::dl
