// SPDX-License-Identifier: MIT
#include <algorithm>
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
// how the walk is defined, and no limit is put on it; the condition, its
// frequency and what a host can do stand at Configuration::Theory::La.

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

void Graph::do_search_lemmas() {
  if (prev_conflict_.empty() || config_->dl_tlemma_kinds == 0) return;
  if (config_->dl_tlemma_min_overlap >
      similarity(cur_conflict_, prev_conflict_)) {
    return;
  }
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
  const std::size_t n_cur = cur_conflict_.size();
  const std::size_t n_prev = prev_conflict_.size();
  std::size_t off_cur = 0;
  std::size_t off_prev = 0;
  NodePairs node_map;
  do_synch_conflicts(n_cur, n_prev, off_cur, off_prev, node_map);
  const auto on_both = [&node_map](int node) {
    if (!node_map.contains(node)) return false;
    const std::pair<int, int>& leaving = node_map.at(node);
    return leaving.first != 0 && leaving.second != 0;
  };

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
  bool wait_a = false;
  bool wait_b = false;

  std::size_t i = 0;
  std::size_t j = 0;
  while (i < n_cur && j < n_prev) {
    const int ec = cur_conflict_[(off_cur + i) % n_cur];
    const int ep = prev_conflict_[(off_prev + j) % n_prev];
    const Edge& a = edges_.at(ec);
    if (ec == ep) {
      if (!in_common) {
        common_start = a.source;
        sum_common = la::DNumber();
        list_common.clear();
      }
      common_end = a.target;
      sum_common += a.weight;
      list_common.push_back(ec);
      ++i;
      ++j;
      in_common = true;
      continue;
    }
    if (in_common && learn_long) {
      do_learn_long_interpolant_lemmas(common_start, common_end, sum_common,
                                       list_common);
    }
    const Edge& b = edges_.at(ep);
    if (start == -1) start = a.source;
    // A side that waits has its last edge in its list already.
    if (!wait_a) {
      sum_a += a.weight;
      list_a.push_back(ec);
    }
    if (!wait_b) {
      sum_b += b.weight;
      list_b.push_back(ep);
    }
    if (a.target == b.target) {
      if (learn_short) {
        do_learn_short_interpolant_lemmas(
            start, a.target, sum_b < sum_a ? sum_a : sum_b, list_a, list_b);
      }
      sum_a = la::DNumber();
      sum_b = la::DNumber();
      list_a.clear();
      list_b.clear();
      start = -1;
      wait_a = false;
      wait_b = false;
      ++i;
      ++j;
    } else if (!wait_a || !wait_b) {
      // The side that has reached a node of both cycles stays; the other one
      // moves, and so do both when neither has.
      wait_a = wait_a || on_both(a.target);
      wait_b = wait_b || on_both(b.target);
      if (!wait_a) ++i;
      if (!wait_b) ++j;
    }
    // Otherwise both wait, and nothing moves any more.
    in_common = false;
  }
  if (in_common && learn_long) {
    do_learn_long_interpolant_lemmas(common_start, common_end, sum_common,
                                     list_common);
  }
}

}  // namespace vorn::dl
