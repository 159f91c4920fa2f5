// SPDX-License-Identifier: MIT
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

#include "vorn/dl/graph.h"

// What two successive conflicts teach.
//
// Two negative cycles are walked side by side. A stretch of edges that both run
// along implies a bound between its end nodes: a long interpolant. Where they
// leave a node by different edges and meet again at another, each of the two
// detours implies a bound between those nodes: short interpolants, with the
// larger of the two sums, so that both sets of premises imply it. Such bounds
// between nodes that conflicts have in common are new literals on which a
// search can learn shorter clauses.
//
// A side that reaches a node of both cycles waits there for the other. When the
// cycles meet their common nodes in another order, both sides can come to wait
// at different nodes, and the walk then repeats that step without end. That is
// how the walk is defined, and no limit is put on it. A host that asks for the
// guard has each walk made once before, for its way alone; whether it ends is
// known then, and nothing has been learnt, logged or counted if it does not.

namespace vorn::dl {
namespace {

constexpr int kShortLemmas = 1;
constexpr int kLongLemmas = 2;

std::vector<int> distinct(std::vector<int> ids) {
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

/// The number of distinct edges in both conflicts over the size, repetitions
/// counted, of the larger. In float, like the setting it is compared with.
float similarity(const std::vector<int>& cur, const std::vector<int>& prev) {
  const std::vector<int> a = distinct(cur);
  const std::vector<int> b = distinct(prev);
  std::vector<int> both;
  std::set_intersection(a.begin(), a.end(), b.begin(), b.end(),
                        std::back_inserter(both));
  return static_cast<float>(both.size()) /
         static_cast<float>(std::max(cur.size(), prev.size()));
}

}  // namespace

/// The two indices that move along the current and the previous conflict, and
/// the flags that hold them back. Knows where the walk goes, not what it
/// learns. Borrows what it is made of.
class ConflictWalk {
 public:
  struct Step {
    int cur_edge;
    int prev_edge;
    /// The sides run along one edge.
    bool shared;
    /// The sides' edges are not taken yet: a side that waits is at its last.
    bool takes_cur;
    bool takes_prev;
    /// Different edges that enter one node.
    bool meets;
  };

  ConflictWalk(const std::vector<int>& cur, const std::vector<int>& prev,
               std::size_t off_cur, std::size_t off_prev,
               const la::VarMap<Edge, true, true>& edges,
               const la::VarMap<std::pair<int, int>, true, true>& node_map)
      : cur_(cur),
        prev_(prev),
        off_cur_(off_cur),
        off_prev_(off_prev),
        edges_(edges),
        node_map_(node_map) {}

  bool at_end() const { return i_ >= cur_.size() || j_ >= prev_.size(); }
  /// Both sides wait, at different nodes: no later step moves either.
  bool is_stuck() const { return wait_a_ && wait_b_; }
  /// Whether it comes to its end from here.
  bool ends() const {
    ConflictWalk ahead(*this);
    while (!ahead.at_end() && !ahead.is_stuck()) ahead.next();
    return ahead.at_end();
  }

  /// The step at hand; moves on to the next one. Requires: not at_end().
  Step next() {
    Step step{cur_[(off_cur_ + i_) % cur_.size()],
              prev_[(off_prev_ + j_) % prev_.size()],
              false,
              !wait_a_,
              !wait_b_,
              false};
    step.shared = step.cur_edge == step.prev_edge;
    if (step.shared) {
      ++i_;
      ++j_;
      return step;
    }
    const int a = edges_.at(step.cur_edge).target;
    const int b = edges_.at(step.prev_edge).target;
    step.meets = a == b;
    if (step.meets) {
      wait_a_ = false;
      wait_b_ = false;
      ++i_;
      ++j_;
    } else if (!is_stuck()) {
      // The side that has reached a node of both cycles stays; the other one
      // moves, and so do both when neither has.
      wait_a_ = wait_a_ || is_on_both(a);
      wait_b_ = wait_b_ || is_on_both(b);
      if (!wait_a_) ++i_;
      if (!wait_b_) ++j_;
    } else {
      // A loop without end must do something that an optimiser respects, or
      // the language lets it assume that there is none.
      std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    return step;
  }

 private:
  bool is_on_both(int node) const {
    if (!node_map_.contains(node)) return false;
    const std::pair<int, int>& leaving = node_map_.at(node);
    return leaving.first != 0 && leaving.second != 0;
  }

  const std::vector<int>& cur_;
  const std::vector<int>& prev_;
  const std::size_t off_cur_;
  const std::size_t off_prev_;
  const la::VarMap<Edge, true, true>& edges_;
  const la::VarMap<std::pair<int, int>, true, true>& node_map_;
  std::size_t i_ = 0;
  std::size_t j_ = 0;
  bool wait_a_ = false;
  bool wait_b_ = false;
};

bool Graph::conflicts_overlap() const {
  return !(config_->dl_tlemma_min_overlap >
           similarity(cur_conflict_, prev_conflict_));
}

void Graph::do_search_lemmas() {
  if (prev_conflict_.empty() || config_->dl_tlemma_kinds == 0) return;
  if (!conflicts_overlap()) return;
  ++num_tlemma_searches_;
  if (cur_conflict_.empty() || !conflicts_are_registered()) return;
  walk_conflicts();
}

// A retracted edge has no ends and no weight to read. Hosts that number their
// constraints once can still retract one that the previous conflict names.
bool Graph::conflicts_are_registered() const {
  const auto registered = [this](int id) { return edges_.contains(id); };
  return std::all_of(cur_conflict_.begin(), cur_conflict_.end(), registered) &&
         std::all_of(prev_conflict_.begin(), prev_conflict_.end(), registered);
}

void Graph::walk_conflicts() {
  const bool learn_short = (config_->dl_tlemma_kinds & kShortLemmas) != 0;
  const bool learn_long = (config_->dl_tlemma_kinds & kLongLemmas) != 0;
  std::size_t off_cur = 0;
  std::size_t off_prev = 0;
  NodePairs node_map;
  do_synch_conflicts(cur_conflict_.size(), prev_conflict_.size(), off_cur,
                     off_prev, node_map);
  ConflictWalk walk(cur_conflict_, prev_conflict_, off_cur, off_prev, edges_,
                    node_map);
  if (guards_walks_ && !walk.ends()) {
    // Counted there instead: it was no search.
    --num_tlemma_searches_;
    ++num_endless_walks_;
    return;
  }

  // The shared stretch that ends at the last step, if in_common.
  bool in_common = false;
  int common_start = -1;
  int common_end = -1;
  la::DNumber sum_common;
  std::vector<int> list_common;
  // The pair of detours since the cycles parted at `start`.
  int start = -1;
  la::DNumber sum_a;
  la::DNumber sum_b;
  std::vector<int> list_a;
  std::vector<int> list_b;

  const auto learn_stretch = [&] {
    if (!in_common || !learn_long) return;
    do_learn_long_interpolant_lemmas(common_start, common_end, sum_common,
                                     list_common);
  };
  while (!walk.at_end()) {
    const ConflictWalk::Step step = walk.next();
    const Edge& a = edges_.at(step.cur_edge);
    if (step.shared) {
      if (!in_common) {
        common_start = a.source;
        sum_common = la::DNumber();
        list_common.clear();
      }
      common_end = a.target;
      sum_common += a.weight;
      list_common.push_back(step.cur_edge);
      in_common = true;
      continue;
    }
    learn_stretch();
    in_common = false;
    if (start == -1) start = a.source;
    if (step.takes_cur) {
      sum_a += a.weight;
      list_a.push_back(step.cur_edge);
    }
    if (step.takes_prev) {
      sum_b += edges_.at(step.prev_edge).weight;
      list_b.push_back(step.prev_edge);
    }
    if (!step.meets) continue;
    if (learn_short) {
      do_learn_short_interpolant_lemmas(
          start, a.target, sum_b < sum_a ? sum_a : sum_b, list_a, list_b);
    }
    sum_a = la::DNumber();
    sum_b = la::DNumber();
    list_a.clear();
    list_b.clear();
    start = -1;
  }
  learn_stretch();
}

}  // namespace vorn::dl
