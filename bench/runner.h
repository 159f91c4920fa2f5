// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_RUNNER_H
#define VORN_BENCH_RUNNER_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/contest.h"
#include "bench/trace.h"
#include "bench/weights.h"

// Traces as contestants.

namespace vorn::bench {

/// 0 or the length of the conflict, for each check of a trace; of a repeatable
/// one's measured calls twice.
template <class G>
std::vector<std::size_t> verdicts_of(const Trace& trace) {
  G graph(trace);
  std::vector<std::size_t> verdicts;
  make_calls(graph, trace.prepare, &verdicts);
  make_calls(graph, trace.measured, &verdicts);
  if (trace.repeatable) make_calls(graph, trace.measured, &verdicts);
  return verdicts;
}

/// Ends the process unless all the graphs say the same of each check.
template <class First, class... Others>
void expect_agreement(const Trace& trace) {
  const std::vector<std::size_t> verdicts = verdicts_of<First>(trace);
  if (!((verdicts_of<Others>(trace) == verdicts) && ...)) {
    fail("the graphs disagree");
  }
}

/// Puts freed blocks back together, so that a graph does not come to lie in the
/// order in which the one before it was torn down.
inline void tidy_heap() {
  // What the allocator does before it serves a large request.
  void* const large = std::malloc(std::size_t{1} << 20U);
  benchmark::DoNotOptimize(large);
  std::free(large);
}

/// A contestant that makes the measured calls `rounds` times, on a new graph
/// each time unless the trace is repeatable. Borrows the trace.
template <class G>
Contestant runner(const std::string& name, const Trace& trace, int rounds,
                  Target target = Target::none()) {
  if (trace.repeatable) {
    tidy_heap();
    auto graph = std::make_shared<G>(trace);
    make_calls(*graph, trace.prepare);
    return {name,
            [graph, &trace, rounds] {
              return seconds_of([&] {
                for (int round = 0; round < rounds; ++round) {
                  benchmark::DoNotOptimize(make_calls(*graph, trace.measured));
                }
              });
            },
            target};
  }
  return {name,
          [&trace, rounds] {
            double seconds = 0;
            for (int round = 0; round < rounds; ++round) {
              tidy_heap();
              G graph(trace);
              make_calls(graph, trace.prepare);
              seconds += seconds_of([&] {
                benchmark::DoNotOptimize(make_calls(graph, trace.measured));
              });
            }
            return seconds;
          },
          target};
}

}  // namespace vorn::bench

#endif  // VORN_BENCH_RUNNER_H
