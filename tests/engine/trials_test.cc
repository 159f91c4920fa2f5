// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "solver/engine/bound_propagation.h"
#include "solver/engine/lemma_trials.h"
#include "solver/search/statistics.h"
#include "vorn/dl/edge.h"

// Both trials are judged by counters of a search, which here is played.

namespace vorn::solver {
namespace {

/// A chain of constraints x(i+1) - x(i) <= 1, the next of which is pushed at
/// each conflict, and a search that meets them.
class PlayedSearch {
 public:
  /// Of 1000 literals that are propagated at each conflict, so many are implied
  /// by constraints.
  explicit PlayedSearch(Propagation mode, std::uint64_t implied = 500)
      : implied_(implied), propagation_({mode, {std::size_t{1} << 20U, 100}}) {
    for (int id = 0; id < kChain; ++id) {
      edges_.emplace_back(id, id + 1, la::DNumber(1, 0), id);
      propagation_.tell(id);
    }
    search_.decisions = 1;
    propagation_.start_check(search_);
  }

  /// Plays conflicts, of which this share is the theory's.
  void meet_conflicts(int count, double share) {
    for (int i = 0; i < count; ++i) {
      ++search_.conflicts;
      theory_conflicts_ += share;
      search_.theory_conflicts = static_cast<std::uint64_t>(theory_conflicts_);
      search_.propagations += 1000;
      search_.theory_propagations += implied_;
      take_turn();
    }
  }
  /// Whether what is pushed now reaches the closure.
  bool propagates() { return take_turn(); }
  const BoundPropagation& propagation() const { return propagation_; }

 private:
  static constexpr int kChain = 2;

  bool take_turn() {
    const std::size_t before = propagation_.closure().num_active();
    propagation_.push(0);
    std::vector<int> consequences;
    propagation_.run(
        search_,
        [this](int id) -> const dl::Edge& {
          return edges_[static_cast<std::size_t>(id)];
        },
        consequences);
    const bool reached = propagation_.closure().num_active() > before;
    propagation_.pop();
    EXPECT_EQ(propagation_.closure().num_active(), before);
    return reached;
  }

  std::uint64_t implied_;
  BoundPropagation propagation_;
  std::vector<dl::Edge> edges_;
  SearchStatistics search_;
  double theory_conflicts_ = 0;
};

// Where the graph finds nearly all conflicts once propagation is gone, it must
// come back soon; otherwise the families on which it wins would lose.
TEST(BoundPropagationTest, TrialIsWonWhereConflictsComeFromTheGraph) {
  PlayedSearch search(Propagation::kAuto);
  EXPECT_TRUE(search.propagates());
  search.meet_conflicts(500, 0.4);
  EXPECT_FALSE(search.propagates());
  search.meet_conflicts(60, 1.0);
  EXPECT_TRUE(search.propagates());
  EXPECT_EQ(search.propagation().counters().trials_won, 1U);
  search.meet_conflicts(3000, 0.4);
  EXPECT_TRUE(search.propagates());
}

// Where clauses do the same, it must stay away, until the next trial.
TEST(BoundPropagationTest, TrialIsLostWhereConflictsComeFromClauses) {
  PlayedSearch search(Propagation::kAuto);
  search.meet_conflicts(500, 0.4);
  search.meet_conflicts(310, 0.3);
  EXPECT_FALSE(search.propagates());
  EXPECT_EQ(search.propagation().counters().trials_lost, 1U);
  search.meet_conflicts(2000, 0.3);
  EXPECT_FALSE(search.propagates());
  search.meet_conflicts(2100, 0.3);
  EXPECT_TRUE(search.propagates());
}

// Where constraints imply few literals, conflicts with propagation are no
// better than others and dearer: a trial is to waste few of them. It must still
// be won where the graph finds the conflicts without it.
TEST(BoundPropagationTest, TrialGoesOnEarlyWhereLittleIsImplied) {
  PlayedSearch search(Propagation::kAuto, 100);
  search.meet_conflicts(99, 0.4);
  EXPECT_TRUE(search.propagates());
  search.meet_conflicts(1, 0.4);
  EXPECT_FALSE(search.propagates());
  search.meet_conflicts(60, 1.0);
  EXPECT_TRUE(search.propagates());
  EXPECT_EQ(search.propagation().counters().trials_won, 1U);

  PlayedSearch enough(Propagation::kAuto, 200);
  enough.meet_conflicts(499, 0.4);
  EXPECT_TRUE(enough.propagates());
}

// Who asks for all gets all, who asks for none gets none.
TEST(BoundPropagationTest, FixedModesHoldNoTrials) {
  PlayedSearch full(Propagation::kFull);
  PlayedSearch off(Propagation::kOff);
  full.meet_conflicts(700, 0.0);
  off.meet_conflicts(700, 1.0);
  EXPECT_TRUE(full.propagates());
  EXPECT_FALSE(off.propagates());
}

// Conflicts that repeat each other are what lemmas come from: no time is to be
// lost then, and none to be spent otherwise.
TEST(LemmaTrialsTest, LookDecidesOnTheFirstTrial) {
  SearchStatistics search;
  LemmaTrials alike(0.5F);
  LemmaTrials different(0.5F);
  alike.start_check(search);
  different.start_check(search);
  bool tried_alike = false;
  bool tried_different = false;
  for (int i = 0; i < 100; ++i) {
    ++search.conflicts;
    if (alike.wants_lemmas(search, {1, 2, 3, 10 + i})) tried_alike = true;
    if (different.wants_lemmas(search, {3 * i, 3 * i + 1, 3 * i + 2})) {
      tried_different = true;
    }
  }
  EXPECT_TRUE(tried_alike);
  EXPECT_FALSE(tried_different);
  search.conflicts += 5000;
  EXPECT_TRUE(different.wants_lemmas(search, {1}));
}

// A trial is judged by use: lemmas that take part in conflicts stay on.
TEST(LemmaTrialsTest, TrialIsJudgedByUse) {
  for (const bool used : {false, true}) {
    SearchStatistics search;
    LemmaTrials trials(0.5F);
    trials.start_check(search);
    for (int i = 0; i < 60; ++i) {
      ++search.conflicts;
      trials.wants_lemmas(search, {1, 2});
    }
    for (int i = 0; i < 600; ++i) {
      ++search.conflicts;
      ++search.learnt_clauses;
      search.learnt_uses += 2;
      if (i % 2 == 0) ++search.lemmas;
      if (used) {
        ++search.lemma_uses;
      }
      trials.wants_lemmas(search, {1, 2});
    }
    EXPECT_EQ(trials.num_won(), used ? 1U : 0U);
    EXPECT_EQ(trials.num_lost(), used ? 0U : 1U);
    EXPECT_EQ(trials.wants_lemmas(search, {1, 2}), used);
  }
}

}  // namespace
}  // namespace vorn::solver
