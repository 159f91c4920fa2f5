// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/closures.h"
#include "bench/contest.h"
#include "bench/graphs.h"
#include "bench/peak.h"
#include "bench/runner.h"
#include "bench/trace.h"
#include "bench/workloads.h"

// The closure with a matrix and with paths, beside the graph and against plain
// matrices. Before a trace is timed, all of them follow it together and must
// agree.

namespace vorn::bench {
namespace {

void expect(bool holds, const char* text) {
  if (!holds) fail(text);
}

/// A graph and all closures that make the calls of a trace together. As in a
/// host, closures get a batch of activations once the graph has found it
/// consistent. All must agree on
///  - each verdict: what the graph finds in conflict, every closure refuses, at
///    the same edge;
///  - what follows at each check: the matrices in full, paths if no search can
///    have been cut short, and nothing else otherwise;
///  - at some checks, the distances.
class Agreement {
 public:
  explicit Agreement(const Trace& trace)
      : trace_(trace),
        graph_(trace),
        plain_(trace),
        skipping_(trace),
        matrix_(trace),
        paths_(trace) {
    num_checks_ = static_cast<std::size_t>(std::count_if(
        trace.measured.begin(), trace.measured.end(),
        [](Call call) { return call.kind() == Call::Kind::kCheck; }));
    followed_.edges = trace.edges;
    followed_.num_nodes = trace.num_nodes;
    followed_.repeatable = trace.repeatable;
    follow(trace.prepare, followed_.prepare);
    follow(trace.measured, followed_.measured);
    expect(matrix_.uses_matrix() && !paths_.uses_matrix(),
           "a closure goes the wrong way");
    expect(num_following_ > 0, "nothing follows");
  }

  /// The calls that the closures made: those of the trace without what was
  /// found in conflict.
  const Trace& followed() const { return followed_; }
  /// Of the constraints that follow, active or not, the share that paths know;
  /// over all comparisons.
  double known_by_paths() const {
    return static_cast<double>(num_known_) /
           static_cast<double>(num_following_);
  }

 private:
  static constexpr std::size_t kComparisons = 50;

  void follow(const std::vector<Call>& calls, std::vector<Call>& followed) {
    const bool is_measured = &calls == &trace_.measured;
    std::size_t checks = 0;
    for (const Call call : calls) {
      switch (call.kind()) {
        case Call::Kind::kPush:
          graph_.push(call.constraint());
          waiting_.push_back(call.constraint());
          break;
        case Call::Kind::kPop:
          graph_.pop(call.constraint());
          if (waiting_.empty()) {
            pop();
            followed.push_back(call);
          } else {
            waiting_.pop_back();
          }
          break;
        case Call::Kind::kCheck:
          check(followed);
          if (is_measured && checks++ % (num_checks_ / kComparisons + 1) == 0) {
            compare();
          }
          break;
      }
    }
  }

  void check(std::vector<Call>& followed) {
    const bool consistent = graph_.check() == 0;
    const std::size_t before = depth_;
    bool accepted = true;
    for (std::size_t i = 0; i < waiting_.size() && accepted; ++i) {
      accepted = push(waiting_[i]);
    }
    expect(accepted == consistent, "a closure and the graph disagree");
    if (!consistent) {
      while (depth_ > before) pop();
      return;
    }
    for (const int k : waiting_) followed.push_back(Call::push(k));
    followed.push_back(Call::check());
    waiting_.clear();
    const std::size_t count = plain_.check();
    expect(skipping_.check() == count && matrix_.check() == count,
           "different numbers of consequences");
    const std::size_t by_paths = paths_.check();
    expect(by_paths == count || cut_short_, "paths miss consequences");
  }

  bool push(int k) {
    const bool accepted = plain_.try_push(k);
    expect(skipping_.try_push(k) == accepted &&
               matrix_.try_push(k) == accepted &&
               paths_.try_push(k) == accepted,
           "only one closure refuses");
    if (!accepted) return false;
    // A search tries each active edge once.
    if (++depth_ > PathsClosure::limits().path_steps) cut_short_ = true;
    return true;
  }

  void pop() {
    plain_.pop(0);
    skipping_.pop(0);
    matrix_.pop(0);
    paths_.pop(0);
    --depth_;
  }

  void compare() {
    for (int k = 1; k <= static_cast<int>(trace_.edges.size()); ++k) {
      const bool follows = plain_.follows(k);
      expect(skipping_.follows(k) == follows && matrix_.follows(k) == follows,
             "the matrices know different consequences");
      const bool by_paths = paths_.follows(k);
      expect(by_paths == follows || (follows && cut_short_),
             "paths know different consequences");
      num_following_ += follows ? 1U : 0U;
      num_known_ += by_paths ? 1U : 0U;
    }
    for (int s = 0; s < trace_.num_nodes; ++s) {
      for (int t = 0; t < trace_.num_nodes; ++t) {
        compare_distance(matrix_, s, t);
        compare_distance(skipping_, s, t);
      }
    }
    // A search each.
    for (int n = 0; n < 100; ++n) {
      compare_distance(paths_, random_.below(trace_.num_nodes),
                       random_.below(trace_.num_nodes));
    }
  }

  template <class C>
  void compare_distance(const C& closure, int s, int t) {
    std::int64_t expected = 0;
    std::int64_t distance = 0;
    const bool is_finite = plain_.distance(s, t, &expected);
    expect(closure.distance(s, t, &distance) == is_finite &&
               (!is_finite || distance == expected),
           "different distances");
  }

  const Trace& trace_;
  Trace followed_;
  VornGraph graph_;
  PlainClosure plain_;
  SkippingClosure skipping_;
  MatrixClosure matrix_;
  PathsClosure paths_;
  Random random_{109};
  std::vector<int> waiting_;  // pushed to the graph, not to the closures
  std::size_t depth_ = 0;     // activations in the closures
  bool cut_short_ = false;    // some search by paths may have been
  std::size_t num_checks_ = 0;
  std::uint64_t num_following_ = 0;
  std::uint64_t num_known_ = 0;
};

/// What the measured calls do, once.
struct Work {
  double improvements;
  double consequences;
};

template <class C>
Work work_of(const Trace& trace) {
  C closure(trace);
  make_calls(closure, trace.prepare);
  const std::uint64_t improvements = closure.improvements();
  const std::uint64_t consequences = closure.consequences();
  make_calls(closure, trace.measured);
  return {static_cast<double>(closure.improvements() - improvements),
          static_cast<double>(closure.consequences() - consequences)};
}

/// What the measured calls make fall in a plain matrix, once.
double falls_of(const Trace& trace) {
  SkippingClosure closure(trace);
  make_calls(closure, trace.prepare);
  std::size_t falls = 0;
  for (const Call call : trace.measured) {
    const std::size_t before = closure.num_fallen();
    if (call.kind() == Call::Kind::kPush) {
      closure.push(call.constraint());
      falls += closure.num_fallen() - before;
    } else if (call.kind() == Call::Kind::kPop) {
      closure.pop(call.constraint());
    }
  }
  return static_cast<double>(falls);
}

using Times = std::vector<double>;

/// A row of what two contestants cost for each unit of what they did. An empty
/// baseline: of the library alone.
void add_row(const std::string& name, const std::string& unit,
             const Times& ours, double our_units, const std::string& baseline,
             const Times& theirs, double their_units) {
  const double our_cost = 1e9 * median(ours) / our_units;
  const double their_cost = 1e9 * median(theirs) / their_units;
  const double ratio = median_ratio(ours, theirs) * their_units / our_units;
  table().add({name, unit, baseline, our_cost, their_cost, "ns", ratio,
               Target::none()});
}

/// The rows that all traces have.
void run(benchmark::State& state, const std::string& name, const Trace& trace,
         bool with_graph) {
  const Agreement agreement(trace);
  const Trace& calls = agreement.followed();
  const auto pushes = static_cast<double>(calls.num_measured_pushes());
  std::vector<Contestant> contestants = {
      runner<MatrixClosure>("Vorn", calls, 1),
      runner<PathsClosure>("paths", calls, 1),
      runner<SkippingClosure>("skipping matrix", calls, 1),
      runner<PlainClosure>("plain matrix", calls, 1)};
  if (with_graph) contestants.push_back(runner<VornGraph>("graph", calls, 1));
  const std::vector<Times> times =
      hold_contest(state, name, contestants, pushes, "push");
  const Times& matrix = times[0];
  const Times& paths = times[1];
  if (with_graph) {
    add_row(name + " (paths)", "push", paths, pushes, "graph", times[4],
            pushes);
  }
  const Work by_matrix = work_of<MatrixClosure>(calls);
  add_row(name, "improved pair", matrix, by_matrix.improvements,
          "skipping matrix", times[2], falls_of(calls));
  add_row(name, "consequence", matrix, by_matrix.consequences, "paths", paths,
          work_of<PathsClosure>(calls).consequences);
  const double known = 100 * agreement.known_by_paths();
  table().add({name + " (paths)", "100 that follow", "", known, 0, "known",
               known, Target::none()});
}

/// That each node is at least node 0 is told, too, as where every operation has
/// a start of its own: node 0 then has the most bounds.
Trace with_earliest_starts(Trace trace) {
  const int num_nodes = trace.num_nodes;
  for (int n = 1; n < num_nodes; ++n) trace.add(n, 0, TraceWeight());
  return trace;
}

/// With the numbers multiplied: nothing else changes.
Trace times_power_of_2(Trace trace, int shift) {
  for (TraceEdge& edge : trace.edges) edge.weight.shift += shift;
  return trace;
}

// For 64-bit words and for exact numbers.
constexpr int kShift64 = 32;
constexpr int kShiftExact = 70;

void run_numbers(benchmark::State& state, const std::string& name) {
  const Trace small = sparse_search(150, 1000);
  const Trace large = times_power_of_2(small, kShift64);
  const Trace exact = times_power_of_2(small, kShiftExact);
  const Agreement agreement(small);
  const std::vector<std::size_t> counts = verdicts_of<MatrixClosure>(small);
  expect(verdicts_of<MatrixClosure>(large) == counts &&
             verdicts_of<PathsClosure>(exact) == counts,
         "larger numbers change the consequences");
  const auto pushes = static_cast<double>(small.num_measured_pushes());
  const std::vector<Times> times =
      hold_contest(state, name,
                   {runner<MatrixClosure>("Vorn", small, 1),
                    runner<MatrixClosure>("64-bit words", large, 1),
                    runner<PathsClosure>("paths", small, 1),
                    runner<PathsClosure>("paths, exact", exact, 1)},
                   pushes, "push");
  add_row(name + " (paths, exact)", "push", times[3], pushes, "paths", times[2],
          pushes);
}

constexpr int kMemoryNodes = 300;

/// Three edges a node, activated with no check between.
Trace memory_trace(int shift) {
  Trace trace = times_power_of_2(
      feasible_edges(kMemoryNodes, 3 * kMemoryNodes, Weights::kIntegers),
      shift);
  std::vector<Call> pushes;
  for (const Call call : trace.measured) {
    if (call.kind() == Call::Kind::kPush) pushes.push_back(call);
  }
  trace.measured = pushes;
  return trace;
}

/// The same with but one edge active: the matrix without improvements.
Trace bare_memory_trace(int shift) {
  Trace trace = memory_trace(shift);
  trace.measured = {trace.measured.front()};
  return trace;
}

double matrix_bytes(const Trace& trace) {
  MatrixClosure closure(trace);
  make_calls(closure, trace.measured);
  expect(closure.uses_matrix(), "a closure goes the wrong way");
  return static_cast<double>(closure.matrix_bytes());
}

struct MemoryCase {
  const char* option;
  const char* label;
  int shift;
  bool is_bare;
  bool is_plain;
};

// A plain one is compared with the 32-bit words before it.
constexpr MemoryCase kMemoryCases[] = {
    {"closure-32-bare", " (32-bit words, 1 edge)", 0, true, false},
    {"closure-64-bare", " (64-bit words, 1 edge)", kShift64, true, false},
    {"closure-plain-bare", " (32-bit words, 1 edge)", 0, true, true},
    {"closure-32", " (32-bit words)", 0, false, false},
    {"closure-64", " (64-bit words)", kShift64, false, false},
    {"closure-plain", " (32-bit words)", 0, false, true},
};

Trace trace_of(const MemoryCase& what) {
  return what.is_bare ? bare_memory_trace(what.shift)
                      : memory_trace(what.shift);
}

void run_memory(benchmark::State& state, const std::string& name) {
  std::vector<Times> peaks(std::size(kMemoryCases));
  for (auto _ : state) {
    const double start = cpu_seconds();
    for (std::size_t n = 0; n < peaks.size(); ++n) {
      peaks[n].push_back(measured_by_child(kMemoryCases[n].option));
    }
    state.SetIterationTime(cpu_seconds() - start);
  }
  constexpr double kPairs = 1.0 * kMemoryNodes * kMemoryNodes;
  double of_32_bits = 0;
  for (std::size_t n = 0; n < peaks.size(); ++n) {
    const MemoryCase& what = kMemoryCases[n];
    const double peak = median(peaks[n]) / kPairs;
    if (what.shift == 0 && !what.is_plain) of_32_bits = peak;
    if (what.is_plain) {
      table().add({name + what.label, "pair of nodes", "plain matrix",
                   of_32_bits, peak, "bytes", of_32_bits / peak,
                   Target::none()});
      continue;
    }
    const double said = matrix_bytes(trace_of(what)) / kPairs;
    table().add({name + what.label, "pair of nodes", "matrix_bytes()", peak,
                 said, "bytes", peak / said, Target::none()});
  }
}

}  // namespace

int measure_closure_memory(const std::string& which) {
  for (const MemoryCase& what : kMemoryCases) {
    if (which != what.option) continue;
    const Trace trace = trace_of(what);
    std::printf("%.1f\n", what.is_plain ? peak_of<PlainClosure>(trace)
                                        : peak_of<MatrixClosure>(trace));
    return EXIT_SUCCESS;
  }
  return EXIT_FAILURE;
}

void add_closure_benchmarks() {
  add_benchmark("bm_closure_ft10_replay/200000",
                [](benchmark::State& state, const std::string& name) {
                  run(state, name, ft10_trace(), true);
                });
  add_benchmark("bm_closure_ft10_hub/200000",
                [](benchmark::State& state, const std::string& name) {
                  run(state, name, with_earliest_starts(ft10_trace()), true);
                });
  for (const int nodes : {50, 150, 400, 700, 1200}) {
    add_benchmark("bm_closure_sparse/" + std::to_string(nodes),
                  [nodes](benchmark::State& state, const std::string& name) {
                    run(state, name, sparse_search(nodes, 2000000 / nodes),
                        false);
                  });
  }
  add_benchmark("bm_closure_numbers/150", run_numbers);
  add_benchmark(
      "bm_closure_memory/" + std::to_string(kMemoryNodes * kMemoryNodes),
      run_memory);
}

}  // namespace vorn::bench
