// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <istream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/contest.h"
#include "bench/graphs.h"
#include "bench/recorder.h"
#include "bench/runner.h"
#include "bench/scratch_graph.h"
#include "bench/trace.h"
#include "bench/workloads.h"

// The graph against the floor, against pairs of mpq_class and against running
// Bellman-Ford anew. Before a trace is timed, all graphs that run it must give
// the same verdicts and conflicts of the same length.

namespace vorn::bench {
namespace {

struct GraphBenchmark {
  std::string name;
  std::function<Trace()> make;
  int rounds;
  bool with_floor;
  Target against_floor;
  Target against_mpq;
};

void run(benchmark::State& state, const std::string& name,
         const GraphBenchmark& what) {
  const Trace trace = what.make();
  if (what.with_floor) {
    expect_agreement<VornGraph, FloorGraph, MpqGraph>(trace);
  } else {
    expect_agreement<VornGraph, MpqGraph>(trace);
  }
  std::vector<Contestant> contestants = {
      runner<VornGraph>("Vorn", trace, what.rounds)};
  if (what.with_floor) {
    contestants.push_back(
        runner<FloorGraph>("floor", trace, what.rounds, what.against_floor));
  }
  contestants.push_back(
      runner<MpqGraph>("mpq pairs", trace, what.rounds, what.against_mpq));
  const auto pushes = static_cast<double>(trace.num_measured_pushes());
  hold_contest(state, name, contestants, pushes * what.rounds, "push");
}

std::vector<GraphBenchmark>& graph_benchmarks() {
  static std::vector<GraphBenchmark> benchmarks;
  return benchmarks;
}

void add(const GraphBenchmark& what) {
  graph_benchmarks().push_back(what);
  add_benchmark(what.name,
                [what](benchmark::State& state, const std::string& name) {
                  run(state, name, what);
                });
}

template <class G>
void push_all(G& graph, const std::vector<Call>& calls) {
  for (const Call call : calls) {
    if (call.kind() == Call::Kind::kPush) graph.push(call.constraint());
  }
}

/// Bellman-Ford and the graph must say the same of each check; Bellman-Ford
/// cannot pop.
void compare_with_scratch(const Trace& trace) {
  std::vector<std::size_t> expected;
  {
    ScratchGraph scratch(trace);
    push_all(scratch, trace.prepare);
    make_calls(scratch, trace.measured, &expected);
  }
  VornGraph graph(trace);
  make_calls(graph, trace.prepare);
  std::vector<std::size_t> verdicts;
  make_calls(graph, trace.measured, &verdicts);
  for (std::size_t& length : verdicts) length = length == 0 ? 0 : 1;
  if (verdicts != expected) fail("Bellman-Ford and the graph disagree");
}

void run_from_scratch(benchmark::State& state, const std::string& name) {
  // A small one that ends in a conflict, where the search first pops.
  Trace small = search_shape(100, 2000, 400, 1);
  const auto first_pop =
      std::find_if(small.measured.begin(), small.measured.end(),
                   [](Call call) { return call.kind() == Call::Kind::kPop; });
  small.measured.erase(first_pop, small.measured.end());
  compare_with_scratch(small);
  const Trace trace = relaxing_edges(10000, 40000, 40);
  compare_with_scratch(trace);
  const auto from_scratch = [&trace] {
    ScratchGraph scratch(trace);
    push_all(scratch, trace.prepare);
    return seconds_of(
        [&] { benchmark::DoNotOptimize(make_calls(scratch, trace.measured)); });
  };
  hold_contest(state, name,
               {runner<VornGraph>("Vorn", trace, 1),
                {"Boost Bellman-Ford", from_scratch, Target::cheaper(1000)}},
               static_cast<double>(trace.num_measured_pushes()), "push");
}

Trace trace_of(std::istream&& in) {
  Trace trace;
  if (!in || !read_trace(in, trace)) fail("cannot read the trace");
  return trace;
}

// A function of its own, for a profiler to find.
template <class G>
[[gnu::noinline]] void counted_calls(G& graph, const std::vector<Call>& calls) {
  benchmark::DoNotOptimize(make_calls(graph, calls));
}

template <class G>
void count(const Trace& trace) {
  G graph(trace);
  make_calls(graph, trace.prepare);
  counted_calls(graph, trace.measured);
}

}  // namespace

int run_once(const std::string& which, const std::string& name) {
  for (const GraphBenchmark& candidate : graph_benchmarks()) {
    if (candidate.name != name) continue;
    const Trace trace = candidate.make();
    if (which == "vorn") {
      count<VornGraph>(trace);
    } else if (which == "floor" && candidate.with_floor) {
      count<FloorGraph>(trace);
    } else {
      return EXIT_FAILURE;
    }
    std::printf("%zu\n", trace.num_measured_pushes());
    return EXIT_SUCCESS;
  }
  return EXIT_FAILURE;
}

Trace ft10_trace() {
  std::stringstream recording;
  record_ft10(recording);
  return trace_of(std::move(recording));
}

void add_graph_benchmarks(const std::string& trace_file) {
  const Target at_most_2 = Target::at_most(2);
  const Target cheaper_3 = Target::cheaper(3);
  const Target none = Target::none();
  if (!trace_file.empty()) {
    add({"bm_graph_trace/0",
         [trace_file] { return trace_of(std::ifstream(trace_file)); }, 1, true,
         none, none});
  }
  add({"bm_graph_satisfied/100000",
       [] { return satisfied_edges(10000, 100000, false); }, 3, true, at_most_2,
       Target::cheaper(6)});
  add({"bm_graph_satisfied_shuffled/100000",
       [] { return satisfied_edges(10000, 100000, true); }, 3, true, at_most_2,
       Target::cheaper(6)});
  add({"bm_graph_feasible_sparse/40000",
       [] { return feasible_edges(10000, 40000, Weights::kIntegers); }, 1, true,
       at_most_2, cheaper_3});
  add({"bm_graph_feasible_dense/50000",
       [] { return feasible_edges(500, 50000, Weights::kIntegers); }, 1, true,
       at_most_2, cheaper_3});
  add({"bm_graph_strict/40000",
       [] { return feasible_edges(10000, 40000, Weights::kStrict); }, 1, true,
       at_most_2, cheaper_3});
  add({"bm_graph_search/200000",
       [] { return search_shape(1000, 4000, 200000, 1); }, 1, true, at_most_2,
       cheaper_3});
  add({"bm_graph_search_batches/200000",
       [] { return search_shape(1000, 4000, 200000, 10); }, 1, true, at_most_2,
       cheaper_3});
  add({"bm_graph_ft10_replay/200000", ft10_trace, 1, true, at_most_2,
       cheaper_3});
  add({"bm_graph_fractions/40000",
       [] { return feasible_edges(10000, 40000, Weights::kFractions); }, 1,
       true, none, cheaper_3});
  add({"bm_graph_past_64_bits/40000",
       [] { return feasible_edges(10000, 40000, Weights::kPast64Bits); }, 1,
       false, none, none});
  add({"bm_graph_chain_forward/100000", [] { return chain(100000, false); }, 1,
       true, none, cheaper_3});
  add({"bm_graph_chain_backward/1000", [] { return chain(1000, true); }, 1,
       true, none, cheaper_3});
  add({"bm_graph_star/100000", [] { return star(100000); }, 1, true, none,
       cheaper_3});
  add({"bm_graph_grid/39600", [] { return grid(100); }, 1, true, none,
       cheaper_3});
  add({"bm_graph_one_edge_per_node/1000000",
       [] { return one_edge_per_node(1000000); }, 1, true, none, cheaper_3});
  add_benchmark("bm_graph_from_scratch/40000", run_from_scratch);
}

}  // namespace vorn::bench
