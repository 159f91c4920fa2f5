// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/dl/exact.h"
#include "tests/dl/graph_under_test.h"
#include "vorn/dl/graph.h"

// Every lemma of random runs is read back from its own text and checked: its
// premises, as edges, and the negation of its bound close a negative cycle.
//
// The hosts keep to what lemmas need: constraint 0 unused, no constraint told
// anew with other ends, no positive eps coefficient. The graph guards its
// walks. A second one without lemmas runs ahead and shows the conflict of each
// check, which tells the tests whether the guard has to leave the search out.

namespace vorn::dl {
namespace {

using dl_test::EdgeIds;
using dl_test::Exact;
using dl_test::ExactEdge;
using dl_test::GraphUnderTest;
using dl_test::Random;
using dl_test::Texts;
using dl_test::TextTerms;
using dl_test::to_edge;
using dl_test::Weights;

/// "(op a b)" taken apart into op, a and b; any other text into itself.
Texts parts(const std::string& text) {
  if (text.empty() || text.front() != '(') return {text};
  Texts result(1);
  int depth = 0;
  for (std::size_t k = 1; k + 1 < text.size(); ++k) {
    const char c = text[k];
    depth += (c == '(' ? 1 : 0) - (c == ')' ? 1 : 0);
    if (c == ' ' && depth == 0) {
      result.emplace_back();
    } else {
      result.back() += c;
    }
  }
  return result;
}

/// Disjuncts of a left-nested clause of `count` disjuncts.
Texts disjuncts(std::string clause, std::size_t count) {
  Texts result;
  for (; count > 1; --count) {
    const Texts p = parts(clause);
    EXPECT_EQ(p.size(), 3U) << clause;
    EXPECT_EQ(p[0], "or") << clause;
    if (p.size() != 3U) return {};
    result.push_back(p[2]);
    clause = p[1];
  }
  result.push_back(clause);
  std::reverse(result.begin(), result.end());
  return result;
}

/// Number of the node behind "x7" or "0"; -1 for any other text.
int node_of(const std::string& text) {
  if (text == "0") return 0;
  if (text.size() < 2 || text[0] != 'x') return -1;
  return std::stoi(text.substr(1));
}

/// target <= source + weight, read from "(<= target (+ source weight))".
bool read_leq(const std::string& text, bool sum_is_left, ExactEdge* edge) {
  const Texts leq = parts(text);
  if (leq.size() != 3 || leq[0] != "<=") return false;
  const Texts sum = parts(leq[sum_is_left ? 1 : 2]);
  if (sum.size() != 3 || sum[0] != "+") return false;
  edge->target = node_of(leq[sum_is_left ? 2 : 1]);
  edge->source = node_of(sum[1]);
  edge->weight.rational = mpq_class(sum[2], 10);
  return edge->source >= 0 && edge->target >= 0;
}

/// The edge that says the opposite of a bound.
///
/// y <= x + c is violated by x - y < -c, and y < x + c by x - y <= -c.
bool read_negated_bound(const std::string& text, ExactEdge* opposite) {
  ExactEdge bound{-1, -1, Exact()};
  const Texts p = parts(text);
  const bool strict = p.size() == 2 && p[0] == "not";
  if (!read_leq(strict ? p[1] : text, strict, &bound)) return false;
  opposite->source = bound.target;
  opposite->target = bound.source;
  opposite->weight.rational = -bound.weight.rational;
  opposite->weight.eps = strict ? 0 : -1;
  return true;
}

/// Constraint of a premise: k for "(not ck)" or, if the literal of k is the
/// negation of its atom, "(not (not ck))". -1 for any other text.
int read_premise(const std::string& text, const std::set<int>& negated) {
  Texts p = parts(text);
  if (p.size() != 2 || p[0] != "not") return -1;
  std::string atom = p[1];
  bool twice = false;
  if (atom.front() == '(') {
    p = parts(atom);
    if (p.size() != 2 || p[0] != "not") return -1;
    atom = p[1];
    twice = true;
  }
  if (atom.size() < 2 || atom[0] != 'c') return -1;
  const int k = std::stoi(atom.substr(1));
  return (negated.count(k) != 0) == twice ? k : -1;
}

using Edges = std::map<int, ExactEdge>;

/// Whether the walk along two conflicts comes to an end, step by step. It does
/// not exactly if at some step each side has come to a node of both cycles, and
/// not to the same one.
bool walk_ends(const Edges& edges, const EdgeIds& cur, const EdgeIds& prev) {
  std::map<int, int> cur_leaves;
  for (const int id : cur) {
    if (edges.count(id) == 0) return true;
    cur_leaves[edges.at(id).source] = id;
  }
  std::set<int> common;
  int parting = -1;
  for (const int id : prev) {
    if (edges.count(id) == 0) return true;
    const auto other = cur_leaves.find(edges.at(id).source);
    if (other == cur_leaves.end()) continue;
    common.insert(other->first);
    if (other->second != id) parting = other->first;
  }
  // Either no common node or one and the same cycle: both are walked in step.
  if (parting == -1) return true;
  const auto from_parting = [&edges, parting](EdgeIds cycle) {
    while (edges.at(cycle.front()).source != parting) {
      std::rotate(cycle.begin(), cycle.begin() + 1, cycle.end());
    }
    return cycle;
  };
  const EdgeIds a = from_parting(cur);
  const EdgeIds b = from_parting(prev);
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    const int at_a = edges.at(a[i]).target;
    const int at_b = edges.at(b[j]).target;
    if (a[i] == b[j] || at_a == at_b) {
      ++i;
      ++j;
      continue;
    }
    const bool a_stays = common.count(at_a) != 0;
    const bool b_stays = common.count(at_b) != 0;
    if (a_stays && b_stays) return false;
    if (!a_stays) ++i;
    if (!b_stays) ++j;
  }
  return true;
}

// The judge of the guard below: two cycles over the same three nodes, the other
// way round.
TEST(WalkEndsTest, CyclesThatMeetTheirNodesInAnotherOrderDoNotEnd) {
  const Edges edges = {{2, {1, 2, {}}},  {4, {2, 3, {}}},  {6, {3, 1, {}}},
                       {8, {1, 3, {}}},  {10, {3, 2, {}}}, {12, {2, 1, {}}},
                       {14, {1, 4, {}}}, {16, {4, 2, {}}}};

  EXPECT_FALSE(walk_ends(edges, {2, 4, 6}, {8, 10, 12}));
  EXPECT_FALSE(walk_ends(edges, {8, 10, 12}, {14, 16, 4, 6}));
  EXPECT_TRUE(walk_ends(edges, {2, 4, 6}, {14, 16, 4, 6}));
  EXPECT_TRUE(walk_ends(edges, {2, 4, 6}, {6, 2, 4}));
  EXPECT_TRUE(walk_ends(edges, {2, 12}, {14, 16, 4, 6}));
}

/// What the runs have met, so that a test can tell that it tested something.
struct SeenLemmas {
  int short_lemmas = 0;
  int long_lemmas = 0;
  int strict_bounds = 0;
  int bounds_at_zero = 0;
  int duplicates = 0;
  int endless_walks = 0;
};

class LearningHost {
 public:
  LearningHost(unsigned seed, Weights weights, SeenLemmas* seen)
      : random_(seed),
        weights_(weights),
        num_nodes_(random_.between(3, 8)),
        num_constraints_(random_.between(8, 24)),
        seen_(seen) {
    graph_.config.dl_tlemma_min_overlap =
        random_.one_of(std::vector<float>{0.0F, 0.3F, 0.5F, 0.75F});
    scout_.config.dl_tlemma_min_overlap = graph_.config.dl_tlemma_min_overlap;
    graph_.config.dl_dedup_tlemmas = random_.one_in(2);
    graph_.config.dl_tlemma_kinds = 3;
    graph_.graph.guard_lemma_walks(true);
    for (int k = 1; k <= num_constraints_; ++k) {
      if (random_.one_in(3)) graph_.mapper.negated.insert(k);
      ends_[2 * k] = random_ends();
      if (random_.one_in(4)) ends_[2 * k + 1] = random_ends();
      tell(k);
    }
  }

  void step() {
    const int k = random_.between(1, num_constraints_);
    if (is_pushed(k)) {
      if (random_.one_in(4)) pop_last();
      return;
    }
    if (random_.one_in(25) && edges_.count(2 * k) != 0) {
      // Out of the graph, perhaps while a conflict names it; back at some
      // later step, with the same ends.
      for (GraphUnderTest* t : {&graph_, &scout_}) t->graph.retract_edge(k);
      edges_.erase(2 * k);
      edges_.erase(2 * k + 1);
      if (random_.one_in(3)) tell(k);
      return;
    }
    if (edges_.count(2 * k) == 0) tell(k);
    for (GraphUnderTest* t : {&graph_, &scout_}) t->push({k});
    pushed_.push_back(k);
    check();
  }

 private:
  using Ends = std::pair<int, int>;

  Ends random_ends() {
    const int source = random_.between(0, num_nodes_ - 1);
    const int target = random_.between(0, num_nodes_ - 2);
    return {source, target < source ? target : target + 1};
  }

  bool is_pushed(int k) const {
    return std::find(pushed_.begin(), pushed_.end(), k) != pushed_.end();
  }

  void tell(int k) {
    for (const int id : {2 * k, 2 * k + 1}) {
      const auto ends = ends_.find(id);
      if (ends == ends_.end()) continue;
      edges_[id] = {ends->second.first, ends->second.second,
                    random_.weight(weights_, false)};
    }
    for (GraphUnderTest* t : {&graph_, &scout_}) {
      const Edge first = to_edge(edges_.at(2 * k), k);
      if (edges_.count(2 * k + 1) == 0) {
        t->graph.tell_edge(k, first);
      } else {
        t->graph.tell_bi_edge(k, first, to_edge(edges_.at(2 * k + 1), k));
      }
    }
  }

  void pop_last() {
    if (pushed_.empty()) return;
    for (GraphUnderTest* t : {&graph_, &scout_}) t->pop({pushed_.back()});
    pushed_.pop_back();
  }

  bool overlaps_enough() const {
    const EdgeIds& cur = Inspector::cur_conflict(scout_.graph);
    const EdgeIds& prev = Inspector::prev_conflict(scout_.graph);
    const std::set<int> before(prev.begin(), prev.end());
    const auto shared = std::count_if(
        cur.begin(), cur.end(), [&](int id) { return before.count(id) != 0; });
    return !prev.empty() &&
           static_cast<float>(shared) /
                   static_cast<float>(std::max(cur.size(), prev.size())) >=
               graph_.config.dl_tlemma_min_overlap;
  }

  void check() {
    const bool consistent = scout_.graph.check(true);
    const bool searches = !consistent && overlaps_enough();
    const bool ends = !searches || walk_ends(edges_, scout_.cur_conflict(),
                                             scout_.prev_conflict());
    const std::size_t searches_before =
        Inspector::num_tlemma_searches(graph_.graph);
    const std::size_t endless_before = graph_.graph.num_endless_walks();

    EXPECT_EQ(graph_.graph.check(true), consistent);

    EXPECT_EQ(graph_.cur_conflict(), scout_.cur_conflict());
    EXPECT_EQ(Inspector::num_tlemma_searches(graph_.graph),
              searches_before + (searches && ends ? 1 : 0));
    EXPECT_EQ(graph_.graph.num_endless_walks(),
              endless_before + (ends ? 0 : 1));
    if (!ends) {
      EXPECT_FALSE(graph_.graph.has_lemmas());
      ++seen_->endless_walks;
    }
    verify_lemmas();
    if (consistent) return;
    pop_last();
    if (random_.one_in(3)) pop_last();
  }

  void verify_lemmas() {
    std::size_t taken = 0;
    while (graph_.graph.has_lemmas()) {
      verify_lemma(graph_.graph.get_next_lemma());
      ++taken;
    }
    const auto learnt = Inspector::num_short_tlemmas(graph_.graph) +
                        Inspector::num_long_tlemmas(graph_.graph);
    EXPECT_EQ(taken, learnt - learnt_);
    learnt_ = learnt;
    seen_->short_lemmas += count_of(Inspector::num_short_tlemmas, &short_);
    seen_->long_lemmas += count_of(Inspector::num_long_tlemmas, &long_);
    const auto duplicates = Inspector::num_dup_short_tlemmas(graph_.graph) +
                            Inspector::num_dup_long_tlemmas(graph_.graph);
    seen_->duplicates += static_cast<int>(duplicates - duplicates_);
    duplicates_ = duplicates;
  }

  /// How far a counter has gone since the last time.
  int count_of(std::size_t& (*counter)(Graph&), std::size_t* last) {
    const std::size_t now = counter(graph_.graph);
    const auto difference = static_cast<int>(now - *last);
    *last = now;
    return difference;
  }

  void verify_lemma(const Graph::Lemma& lemma) {
    const std::string clause = TextTerms::text(lemma.first);
    SCOPED_TRACE(clause);
    Texts listed;
    for (const Term_* term : lemma.second) {
      listed.push_back(TextTerms::text(term));
    }
    EXPECT_EQ(disjuncts(clause, listed.size()), listed);
    if (graph_.config.dl_dedup_tlemmas) {
      EXPECT_TRUE(clauses_.insert(clause).second) << "queued twice";
    }
    ASSERT_GE(listed.size(), 2U);
    std::vector<ExactEdge> cycle;
    for (std::size_t k = 0; k + 1 < listed.size(); ++k) {
      const int premise = read_premise(listed[k], graph_.mapper.negated);
      ASSERT_GT(premise, 0) << listed[k];
      for (const int id : {2 * premise, 2 * premise + 1}) {
        if (edges_.count(id) != 0) cycle.push_back(edges_.at(id));
      }
    }
    ExactEdge opposite{-1, -1, Exact()};
    ASSERT_TRUE(read_negated_bound(listed.back(), &opposite)) << listed.back();
    cycle.push_back(opposite);
    EXPECT_TRUE(dl_test::closes_negative_cycle(
        cycle, static_cast<std::size_t>(num_nodes_)));
    if (opposite.weight.eps == 0) ++seen_->strict_bounds;
    if (opposite.source == 0 || opposite.target == 0) ++seen_->bounds_at_zero;
  }

  Random random_;
  Weights weights_;
  int num_nodes_;
  int num_constraints_;
  SeenLemmas* seen_;
  GraphUnderTest graph_;
  /// The same graph without lemmas, one check ahead.
  GraphUnderTest scout_;
  /// Source and target of every edge id, for good.
  std::map<int, Ends> ends_;
  /// Registered edges.
  Edges edges_;
  std::vector<int> pushed_;
  std::set<std::string> clauses_;
  std::size_t learnt_ = 0;
  std::size_t short_ = 0;
  std::size_t long_ = 0;
  std::size_t duplicates_ = 0;
};

SeenLemmas run(Weights weights) {
  SeenLemmas seen;
  for (unsigned seed = 1; seed <= 400; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    LearningHost host(seed, weights, &seen);
    for (int step = 0; step < 150; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      host.step();
      if (testing::Test::HasFailure()) return seen;
    }
  }
  return seen;
}

void expect_much_was_seen(const SeenLemmas& seen) {
  EXPECT_GT(seen.short_lemmas, 500);
  EXPECT_GT(seen.long_lemmas, 50);
  EXPECT_GT(seen.bounds_at_zero, 50);
  EXPECT_GT(seen.duplicates, 50);
}

// A lemma that does not follow makes a host unsound.
TEST(RandomLemmaTest, LemmasOverSmallIntegersFollow) {
  const SeenLemmas seen = run(Weights::kSmallIntegers);

  expect_much_was_seen(seen);
  EXPECT_EQ(seen.strict_bounds, 0);
  EXPECT_GT(seen.endless_walks, 0);
}

// Sums of fractions in the terms are exact.
TEST(RandomLemmaTest, LemmasOverFractionsFollow) {
  expect_much_was_seen(run(Weights::kFractions));
}

// Strict premises make strict bounds, and mixed ones the weaker.
TEST(RandomLemmaTest, LemmasOverStrictBoundsFollow) {
  const SeenLemmas seen = run(Weights::kStrict);

  expect_much_was_seen(seen);
  EXPECT_GT(seen.strict_bounds, 200);
}

// Sums that leave the machine word are exact.
TEST(RandomLemmaTest, LemmasOverMachineWordLimitsFollow) {
  expect_much_was_seen(run(Weights::kMachineWord));
}

// Numerals of any size are in the terms.
TEST(RandomLemmaTest, LemmasOverBigNumbersFollow) {
  expect_much_was_seen(run(Weights::kBig));
}

}  // namespace
}  // namespace vorn::dl
