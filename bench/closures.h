// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_CLOSURES_H
#define VORN_BENCH_CLOSURES_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "bench/trace.h"
#include "bench/weights.h"
#include "vorn/dl/closure.h"

// The closure and what it is measured against. Each is made of a trace, with
// all constraints registered and none active, and has push, pop and check,
// which hands out what came to follow and returns how much it was.

namespace vorn::bench {

/// The closure of the library.
class VornClosure {
 public:
  VornClosure(const Trace& trace, const dl::Closure::Limits& limits)
      : closure_(limits) {
    int k = 0;
    for (const TraceEdge& edge : trace.edges) {
      ++k;
      closure_.tell_edge(
          k, dl::Edge(edge.source, edge.target, to_d_number(edge.weight), k));
    }
  }

  /// False, and nothing has changed, for what closes a negative cycle.
  bool try_push(int k) { return closure_.push_edge(k); }
  void push(int k) {
    if (!try_push(k)) fail("a closure finds a conflict");
  }
  void pop(int /*k*/) { closure_.pop_edge(); }
  std::size_t check() {
    std::size_t count = 0;
    for (int k = 0; closure_.next_consequence(&k); ++count) {
      benchmark::DoNotOptimize(k);
    }
    return count;
  }

  bool follows(int k) const { return closure_.is_known(k); }
  /// The distance, of integers; false if there is none.
  bool distance(int source, int target, std::int64_t* distance) const {
    la::DNumber bound;
    if (!closure_.tightest_bound(source, target, &bound, nullptr)) return false;
    if (!bound.rational().is_word() || bound.eps().sign() != 0) {
      fail("a distance that is no integer");
    }
    *distance = bound.rational().word();
    return true;
  }

  bool uses_matrix() const { return closure_.uses_matrix(); }
  std::size_t matrix_bytes() const { return closure_.matrix_bytes(); }
  std::uint64_t improvements() const {
    return closure_.counters().improvements;
  }
  std::uint64_t consequences() const {
    return closure_.counters().consequences;
  }

 private:
  dl::Closure closure_;
};

/// With a matrix, however large.
class MatrixClosure : public VornClosure {
 public:
  explicit MatrixClosure(const Trace& trace)
      : VornClosure(trace, {std::numeric_limits<std::size_t>::max(), 1000}) {}
};

/// With paths from the start, and the default limit on them.
class PathsClosure : public VornClosure {
 public:
  explicit PathsClosure(const Trace& trace) : VornClosure(trace, limits()) {}
  static dl::Closure::Limits limits() {
    dl::Closure::Limits limits;
    limits.matrix_bytes = 0;
    return limits;
  }
};

/// The textbook's matrix: 64-bit words, all pairs tried for each new edge, a
/// list of what fell for taking back. It finds the same consequences, but knows
/// no paths that show them. With kSkipsRows it leaves out, by one more
/// comparison, rows that the edge brings no nearer to its target.
template <bool kSkipsRows>
class FlatClosure {
 public:
  explicit FlatClosure(const Trace& trace)
      : nodes_(at(trace.num_nodes)),
        edges_(1),
        distances_(nodes_ * nodes_, kInfinity),
        first_(nodes_ * nodes_, -1) {
    for (std::size_t n = 0; n < nodes_; ++n) distances_[n * nodes_ + n] = 0;
    for (const TraceEdge& edge : trace.edges) {
      const TraceWeight& weight = edge.weight;
      const std::int64_t largest =
          kInfinity / std::max<std::int64_t>(trace.num_nodes, 1);
      if (weight.shift != 0 || weight.den != 1 || weight.eps != 0 ||
          weight.num > largest || weight.num < -largest) {
        fail("a weight does not fit a word");
      }
      edges_.push_back({at(edge.source), at(edge.target), weight.num});
    }
    for (std::size_t k = 1; k < edges_.size(); ++k) {
      by_cell_.push_back(static_cast<int>(k));
    }
    std::sort(by_cell_.begin(), by_cell_.end(), [this](int a, int b) {
      const std::size_t cell_a = cell_of(a);
      const std::size_t cell_b = cell_of(b);
      if (cell_a != cell_b) return cell_a < cell_b;
      return edges_[at(a)].weight < edges_[at(b)].weight;
    });
    for (std::size_t i = by_cell_.size(); i-- > 0;) {
      first_[cell_of(by_cell_[i])] = static_cast<std::int32_t>(i);
    }
  }

  bool try_push(int k) {
    const Edge edge = edges_[at(k)];
    const std::size_t u = edge.source;
    const std::size_t v = edge.target;
    if (distances_[v * nodes_ + u] + edge.weight < 0) return false;
    levels_.push_back({falls_.size(), consequences_.size()});
    if (distances_[u * nodes_ + v] <= edge.weight) return true;
    const std::int64_t* const from_v = &distances_[v * nodes_];
    for (std::size_t s = 0; s < nodes_; ++s) {
      std::int64_t* const from_s = &distances_[s * nodes_];
      if (from_s[u] == kInfinity) continue;
      const std::int64_t to_v = from_s[u] + edge.weight;
      if (kSkipsRows && to_v >= from_s[v]) continue;
      for (std::size_t t = 0; t < nodes_; ++t) {
        if (from_v[t] == kInfinity || to_v + from_v[t] >= from_s[t]) continue;
        const std::size_t cell = s * nodes_ + t;
        // The edge itself is no consequence.
        if (cell != u * nodes_ + v) report(cell, to_v + from_v[t]);
        falls_.push_back({from_s[t], cell});
        from_s[t] = to_v + from_v[t];
      }
    }
    return true;
  }
  void push(int k) {
    if (!try_push(k)) fail("a closure finds a conflict");
  }
  void pop(int /*k*/) {
    const Level level = levels_.back();
    levels_.pop_back();
    for (; falls_.size() > level.num_falls; falls_.pop_back()) {
      distances_[falls_.back().cell] = falls_.back().before;
    }
    consequences_.resize(level.num_consequences);
    handed_out_ = std::min(handed_out_, level.num_consequences);
  }
  std::size_t check() {
    const std::size_t count = consequences_.size() - handed_out_;
    for (; handed_out_ < consequences_.size(); ++handed_out_) {
      benchmark::DoNotOptimize(consequences_[handed_out_]);
    }
    return count;
  }

  bool follows(int k) const {
    return distances_[cell_of(k)] <= edges_[at(k)].weight;
  }
  bool distance(int source, int target, std::int64_t* distance) const {
    *distance = distances_[at(source) * nodes_ + at(target)];
    return *distance != kInfinity;
  }
  /// Distances that are lower than without active edges.
  std::size_t num_fallen() const { return falls_.size(); }

 private:
  static constexpr std::int64_t kInfinity =
      std::numeric_limits<std::int64_t>::max() / 4;

  struct Edge {
    std::size_t source = 0;
    std::size_t target = 0;
    std::int64_t weight = 0;
  };
  struct Fall {
    std::int64_t before;
    std::size_t cell;
  };
  struct Level {
    std::size_t num_falls;
    std::size_t num_consequences;
  };

  static std::size_t at(int index) { return static_cast<std::size_t>(index); }
  std::size_t cell_of(int k) const {
    return edges_[at(k)].source * nodes_ + edges_[at(k)].target;
  }
  // Of the constraints of a cell that come to follow, the tightest.
  void report(std::size_t cell, std::int64_t distance) {
    if (first_[cell] < 0) return;
    for (std::size_t i = at(first_[cell]); i < by_cell_.size(); ++i) {
      const int k = by_cell_[i];
      if (cell_of(k) != cell) return;
      if (edges_[at(k)].weight < distance) continue;
      if (edges_[at(k)].weight < distances_[cell]) consequences_.push_back(k);
      return;
    }
  }

  std::size_t nodes_;
  std::vector<Edge> edges_;  // by constraint, from 1
  std::vector<std::int64_t> distances_;
  std::vector<int> by_cell_;         // constraints, tightest first in a cell
  std::vector<std::int32_t> first_;  // by cell, in by_cell_; -1 for none
  std::vector<Fall> falls_;
  std::vector<int> consequences_;
  std::size_t handed_out_ = 0;  // of consequences_
  std::vector<Level> levels_;
};

using PlainClosure = FlatClosure<false>;
using SkippingClosure = FlatClosure<true>;

}  // namespace vorn::bench

#endif  // VORN_BENCH_CLOSURES_H
