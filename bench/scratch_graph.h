// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_SCRATCH_GRAPH_H
#define VORN_BENCH_SCRATCH_GRAPH_H

#include <cstddef>
#include <memory>

#include "bench/trace.h"

namespace vorn::bench {

/// From scratch: Boost's Bellman-Ford over all active edges at each check, on
/// plain longs, from distance 0 everywhere. Cannot pop, and reports a conflict
/// of length 1: only its verdict counts. Borrows the trace.
class ScratchGraph {
 public:
  explicit ScratchGraph(const Trace& trace);
  ScratchGraph(const ScratchGraph&) = delete;
  ScratchGraph& operator=(const ScratchGraph&) = delete;
  ~ScratchGraph();

  void push(int k);
  void pop(int k);
  std::size_t check();

 private:
  // Boost.Graph takes long to compile.
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace vorn::bench

#endif  // VORN_BENCH_SCRATCH_GRAPH_H
