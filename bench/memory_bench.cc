// SPDX-License-Identifier: MIT
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/contest.h"
#include "bench/graphs.h"
#include "bench/peak.h"
#include "bench/workloads.h"

// Peak resident memory of a graph with a million edges between a million nodes,
// all active.

namespace vorn::bench {
namespace {

void run(benchmark::State& state, const std::string& name) {
  std::vector<double> ours;
  std::vector<double> last_first;
  std::vector<double> floors;
  for (auto _ : state) {
    const double start = cpu_seconds();
    ours.push_back(measured_by_child("vorn"));
    last_first.push_back(measured_by_child("vorn-last-first"));
    floors.push_back(measured_by_child("floor"));
    state.SetIterationTime(cpu_seconds() - start);
  }
  const double bytes = median(ours);
  table().add({name, "edge and node", "", bytes, 0, "bytes", bytes,
               Target::at_most(250)});
  const double at_once = median(last_first);
  table().add({name + " (last first)", "edge and node", "", at_once, 0, "bytes",
               at_once, Target::at_most(250)});
  table().add({name, "edge and node", "floor", bytes, median(floors), "bytes",
               bytes / median(floors), Target::none()});
}

}  // namespace

int measure_memory(const std::string& which, int pairs) {
  const Trace trace = one_edge_per_node(pairs);
  double bytes = 0;
  if (which == "vorn") {
    bytes = peak_of<VornGraph>(trace);
  } else if (which == "vorn-last-first") {
    bytes = peak_of<VornGraph>(trace, true);
  } else if (which == "floor") {
    bytes = peak_of<FloorGraph>(trace);
  } else {
    return EXIT_FAILURE;
  }
  std::printf("%.1f\n", bytes / pairs);
  return EXIT_SUCCESS;
}

void add_memory_benchmarks() {
  add_benchmark("bm_graph_memory/1000000", run);
}

}  // namespace vorn::bench
