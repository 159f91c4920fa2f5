// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_GRAPHS_H
#define VORN_BENCH_GRAPHS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/trace.h"
#include "bench/weights.h"
#include "vorn/dl/graph.h"
#include "vorn/services/configuration.h"

// The graph and what it is measured against. Each is made of a trace, with all
// constraints registered and none active, and has push, pop and check, which
// returns 0 or the length of the conflict, the conflict being at hand as a list
// of constraints.

namespace vorn::bench {

/// The graph of the library, lemmas off.
class VornGraph {
 public:
  /// With `last_first`, the constraint with the greatest number is registered
  /// first, so that the tables are made in their final size.
  explicit VornGraph(const Trace& trace, bool last_first = false)
      : graph_(&config_, nullptr, nullptr) {
    const auto last = static_cast<int>(trace.edges.size());
    if (last_first && last > 0) tell(last, trace);
    for (int k = 1; k <= last - (last_first ? 1 : 0); ++k) tell(k, trace);
  }

  void push(int k) { graph_.push_edge(k); }
  void pop(int k) { graph_.pop_edge(k); }
  std::size_t check() {
    if (graph_.check(true)) return 0;
    graph_.get_conflict_set(&conflict_);
    return conflict_.size();
  }

 private:
  void tell(int k, const Trace& trace) {
    const TraceEdge& edge = trace.edges[static_cast<std::size_t>(k) - 1];
    graph_.tell_edge(
        k, dl::Edge(edge.source, edge.target, to_d_number(edge.weight), k));
  }

  Configuration::Theory::La config_;
  dl::Graph graph_;
  std::vector<int> conflict_;
};

/// The same relaxation, first in, first out, with conflicts, rolling back and
/// lists of active edges, on flat arrays of edges and potentials of any weight.
/// With RawPair it is the floor: what the algorithm costs when numbers cost
/// nothing.
template <class Weight>
class FlatGraph {
 public:
  explicit FlatGraph(const Trace& trace)
      : edges_(1),
        pushed_(static_cast<std::size_t>(trace.num_nodes)),
        pred_(static_cast<std::size_t>(trace.num_nodes), -1),
        cur_(static_cast<std::size_t>(trace.num_nodes)),
        saved_(static_cast<std::size_t>(trace.num_nodes)) {
    edges_.reserve(trace.edges.size() + 1);
    for (const TraceEdge& edge : trace.edges) {
      tell(edge, Weight::from(edge.weight, trace.scale));
    }
  }

  /// Registers the next constraint.
  void tell(const TraceEdge& edge, const Weight& weight) {
    edges_.push_back({edge.source, edge.target, weight});
  }
  void push(int k) { pending_.push_back(k); }
  void pop(int k) {
    const auto found = std::find(pending_.begin(), pending_.end(), k);
    if (found != pending_.end()) {
      pending_.erase(found);
      return;
    }
    const Edge& edge = edges_[at(k)];
    pushed_[at(edge.source)].pop_back();
    if (pred_[at(edge.target)] == k) pred_[at(edge.target)] = -1;
  }
  std::size_t check() {
    for (std::size_t done = 0; done < pending_.size(); ++done) {
      if (check_edge(pending_[done])) continue;
      pending_.erase(pending_.begin(),
                     pending_.begin() + static_cast<std::ptrdiff_t>(done));
      return conflict_.size();
    }
    pending_.clear();
    return 0;
  }

  const Weight& potential(int node) const { return cur_[at(node)]; }

 private:
  struct Edge {
    int source;
    int target;
    Weight weight;
  };

  static std::size_t at(int index) { return static_cast<std::size_t>(index); }

  bool check_edge(int e) {
    const int source = edges_[at(e)].source;
    lowered_.clear();
    queue_.clear();
    queue_.push_back(e);
    for (std::size_t head = 0; head < queue_.size(); ++head) {
      const int k = queue_[head];
      const Edge& edge = edges_[at(k)];
      const std::size_t target = at(edge.target);
      if (!Weight::lower(cur_[at(edge.source)], edge.weight, cur_[target])) {
        continue;
      }
      lowered_.push_back(edge.target);
      pred_[target] = k;
      if (edge.target == source) {
        explain(source, k);
        for (const int n : lowered_) cur_[at(n)] = saved_[at(n)];
        return false;
      }
      const std::vector<int>& leaving = pushed_[target];
      queue_.insert(queue_.end(), leaving.begin(), leaving.end());
    }
    for (const int n : lowered_) saved_[at(n)] = cur_[at(n)];
    pushed_[at(source)].push_back(e);
    return true;
  }

  void explain(int start, int closing_edge) {
    conflict_.clear();
    conflict_.push_back(closing_edge);
    int node = edges_[at(closing_edge)].source;
    while (node != start) {
      conflict_.push_back(pred_[at(node)]);
      node = edges_[at(conflict_.back())].source;
    }
    std::reverse(conflict_.begin(), conflict_.end());
  }

  std::vector<Edge> edges_;  // by constraint, from 1
  std::vector<std::vector<int>> pushed_;
  std::vector<int> pred_;
  std::vector<Weight> cur_;
  std::vector<Weight> saved_;
  std::vector<int> pending_;
  std::vector<int> queue_;
  std::vector<int> lowered_;
  std::vector<int> conflict_;
};

using FloorGraph = FlatGraph<RawPair>;
using MpqGraph = FlatGraph<MpqPair>;

}  // namespace vorn::bench

#endif  // VORN_BENCH_GRAPHS_H
