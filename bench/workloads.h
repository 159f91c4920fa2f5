// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_WORKLOADS_H
#define VORN_BENCH_WORKLOADS_H

#include <cstdint>
#include <random>
#include <vector>

#include "bench/trace.h"

// Made-up sequences of calls. All are the same in every run.

namespace vorn::bench {

class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  /// From 0 to n - 1.
  int below(int n) {
    return static_cast<int>(engine_() % static_cast<std::uint64_t>(n));
  }
  /// From 1 to n.
  std::vector<int> permutation(int n);

 private:
  std::mt19937_64 engine_;
};

/// The kinds of weights of random graphs.
enum class Weights {
  kIntegers,
  /// Integers, half of the bounds strict.
  kStrict,
  /// Fractions with denominators from 1 to 6.
  kFractions,
  /// Integers times 2^70.
  kPast64Bits,
};

/// Activates random edges, a check after each, all satisfied by potentials that
/// were reached before, and takes them back. Edges come in the order of their
/// registration or shuffled.
Trace satisfied_edges(int nodes, int edges, bool shuffled);

/// Activates random edges that some hidden potential satisfies, a check after
/// each, from potential 0 everywhere.
Trace feasible_edges(int nodes, int edges, Weights weights);

/// With `edges` random edges active, activates others that lower something,
/// a check after each.
Trace relaxing_edges(int nodes, int edges, int relaxing);

/// What a search does: random edges, some of which conflict; then steps back,
/// mostly few, now and then most of the way.
Trace search_shape(int nodes, int edges, int pushes, int per_check);

/// What a search does where nothing conflicts any more: with about 3 edges a
/// node active, some steps back and as many other edges of twice as many, a
/// check after each. The calls end with the edges with which they began; for a
/// closure they are repeatable.
Trace sparse_search(int nodes, int pushes);

/// A path, activated from its start (each check lowers one node) or from its
/// end (each check lowers all behind it).
Trace chain(int length, bool from_the_end);

/// Edges from one node to as many others, each of which lowers its target,
/// activated and taken back.
Trace star(int edges);

/// A grid with edges to all four neighbours, feasible, in random order.
Trace grid(int side);

/// One random edge from each node, feasible, in random order.
Trace one_edge_per_node(int nodes);

/// An edge that closes a cycle of this many edges, of weight -1, found and
/// taken back.
Trace long_cycle(int length);

/// Two cycles of this many edges that share four of every five, found in turn.
Trace overlapping_cycles(int length, int rounds);

}  // namespace vorn::bench

#endif  // VORN_BENCH_WORKLOADS_H
