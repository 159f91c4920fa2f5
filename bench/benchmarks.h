// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_BENCHMARKS_H
#define VORN_BENCH_BENCHMARKS_H

#include <string>

#include "bench/trace.h"

// Each registers the benchmarks of one source file, in the order of the table.

namespace vorn::bench {

/// With a file name, also a benchmark that replays the recording in that file:
/// all up to the first check prepares, what is behind it is measured.
void add_graph_benchmarks(const std::string& trace_file);
void add_growth_benchmarks();
void add_memory_benchmarks();
void add_lemma_benchmarks();
void add_closure_benchmarks();
void add_number_benchmarks();
void add_container_benchmarks();

/// Makes the calls of the graph benchmark `name` once, on the graph `which`
/// ("vorn" or "floor"), the measured ones in a function `counted_calls` that
/// occurs nowhere else; prints the number of measured pushes. Returns the exit
/// code. Requires: the graph benchmarks have been added.
int run_once(const std::string& which, const std::string& name);

/// What the search does on the job-shop problem ft10.
Trace ft10_trace();

/// The process that measures memory: builds the graph `which` ("vorn", "floor",
/// or "vorn-last-first", where the constraint with the greatest number is
/// registered first) with as many edges as nodes, prints the bytes that it took
/// per pair, and returns the exit code.
int measure_memory(const std::string& which, int pairs);

/// The same for closures, whose names begin with "closure"; see
/// closure_bench.cc.
int measure_closure_memory(const std::string& which);

}  // namespace vorn::bench

#endif  // VORN_BENCH_BENCHMARKS_H
