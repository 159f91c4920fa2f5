// SPDX-License-Identifier: MIT
#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/contest.h"
#include "bench/graphs.h"
#include "bench/runner.h"
#include "bench/trace.h"
#include "bench/workloads.h"

// Cost against size. All sizes of all graphs take their turns in one benchmark,
// so that a growth is a ratio of one run as well.

namespace vorn::bench {
namespace {

constexpr std::size_t kGraphs = 3;
constexpr std::array<const char*, kGraphs> kNames = {"Vorn", "floor",
                                                     "mpq pairs"};

struct Size {
  int n;
  Trace trace;
  /// The same amount of work at each size, so that each is timed as well.
  int rounds;
  double units;
  std::array<Contestant, kGraphs> contestants;
  std::array<std::vector<double>, kGraphs> times;  // per unit
};

std::unique_ptr<Size> make_size(int n, Trace trace, int rounds, double units) {
  auto size = std::make_unique<Size>();
  size->n = n;
  size->trace = std::move(trace);
  size->rounds = rounds;
  size->units = units;
  expect_agreement<VornGraph, FloorGraph, MpqGraph>(size->trace);
  size->contestants = {runner<VornGraph>(kNames[0], size->trace, rounds),
                       runner<FloorGraph>(kNames[1], size->trace, rounds),
                       runner<MpqGraph>(kNames[2], size->trace, rounds)};
  return size;
}

/// Times all sizes in turn and adds a row a size and baseline, then a row for
/// each graph with its cost per unit at the last size over that at the first.
void run(benchmark::State& state, const std::string& name,
         const std::vector<std::unique_ptr<Size>>& sizes,
         const std::string& unit, Target growth) {
  for (auto _ : state) {
    double ours = 0;
    for (const std::unique_ptr<Size>& size : sizes) {
      for (std::size_t g = 0; g < kGraphs; ++g) {
        const double seconds = size->contestants[g].run();
        if (g == 0) ours += seconds;
        size->times[g].push_back(1e9 * seconds / size->units / size->rounds);
      }
    }
    state.SetIterationTime(ours);
  }
  for (const std::unique_ptr<Size>& size : sizes) {
    for (std::size_t g = 1; g < kGraphs; ++g) {
      table().add({name + "/" + std::to_string(size->n), unit, kNames[g],
                   median(size->times[0]), median(size->times[g]), "ns",
                   median_ratio(size->times[0], size->times[g]), Target::none(),
                   true});
    }
  }
  const Size& first = *sizes.front();
  const Size& last = *sizes.back();
  for (std::size_t g = 0; g < kGraphs; ++g) {
    const std::string label = name + "/" + std::to_string(last.n);
    const std::string baseline = "itself at " + std::to_string(first.n);
    table().add({g == 0 ? label : label + " (" + kNames[g] + ")", unit,
                 baseline, median(last.times[g]), median(first.times[g]), "ns",
                 median_ratio(last.times[g], first.times[g]),
                 g == 0 ? growth : Target::none()});
  }
}

void run_satisfied(benchmark::State& state, const std::string& name,
                   bool shuffled) {
  std::vector<std::unique_ptr<Size>> sizes;
  for (const int edges : {10000, 30000, 100000, 300000, 1000000}) {
    sizes.push_back(make_size(edges,
                              satisfied_edges(edges / 10, edges, shuffled),
                              1000000 / edges, edges));
  }
  run(state, name, sizes, "push", Target::at_most(3));
}

void run_cycles(benchmark::State& state, const std::string& name) {
  std::vector<std::unique_ptr<Size>> sizes;
  for (const int length : {1000, 3000, 10000, 30000, 100000}) {
    sizes.push_back(
        make_size(length, long_cycle(length), 100000 / length, length));
  }
  run(state, name, sizes, "edge of the cycle", Target::at_most(3));
  const double milliseconds =
      1e-6 * median(sizes.back()->times[0]) * sizes.back()->units;
  table().add({name + "/100000", "conflict", "", milliseconds, 0, "ms",
               milliseconds, Target::at_most(10)});
}

}  // namespace

void add_growth_benchmarks() {
  add_benchmark("bm_graph_satisfied_growth",
                [](benchmark::State& state, const std::string& name) {
                  run_satisfied(state, name, false);
                });
  add_benchmark("bm_graph_satisfied_shuffled_growth",
                [](benchmark::State& state, const std::string& name) {
                  run_satisfied(state, name, true);
                });
  add_benchmark("bm_graph_cycle_growth", run_cycles);
}

}  // namespace vorn::bench
