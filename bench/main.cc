// SPDX-License-Identifier: MIT
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/recorder.h"
#include "bench/table.h"

// Runs the benchmarks and prints the table of ratios. Beside the options of
// Google Benchmark (--benchmark_filter=REGEX is the useful one):
//
//   --rows=FILE        the table's rows as fields separated by tabs
//   --trace=FILE       also replay this recording
//   --write-ft10=FILE  record the search on ft10, and end
//   --once=GRAPH:NAME  make the calls of a graph benchmark once, for a profiler
//   --machine          print processor, compiler and flags, and end

namespace {

/// Google Benchmark's own report would stand in the way of the table; its
/// numbers go to --benchmark_out.
class Silent : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& /*runs*/) override {}
};

std::string processor() {
  std::ifstream in("/proc/cpuinfo");
  std::string line;
  while (std::getline(in, line)) {
    if (line.compare(0, 10, "model name") != 0) continue;
    const std::size_t colon = line.find(':');
    if (colon != std::string::npos) return line.substr(colon + 2);
  }
  return "unknown";
}

/// Makes the allocator keep what is freed. Memory that comes anew from the
/// system costs page faults at first touch, which would fall on whoever runs
/// next.
void keep_freed_memory() {
#ifdef __GLIBC__
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
#endif
}

/// The value of an argument "--name=value"; false for another argument.
bool read_option(const char* argument, const char* name, std::string& value) {
  const std::size_t length = std::strlen(name);
  if (std::strncmp(argument, name, length) != 0) return false;
  value = argument + length;
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::string rows;
  std::string trace;
  std::string ft10;
  std::string memory;
  std::string once;
  std::vector<char*> rest;
  for (int k = 0; k < argc; ++k) {
    if (std::strcmp(argv[k], "--machine") == 0) {
      std::cout << "- Processor: " << processor()
                << "\n- Compiler: " << VORN_BENCH_COMPILER << "\n- Flags: `"
                << VORN_BENCH_FLAGS << "`\n";
      return 0;
    }
    if (!read_option(argv[k], "--rows=", rows) &&
        !read_option(argv[k], "--trace=", trace) &&
        !read_option(argv[k], "--write-ft10=", ft10) &&
        !read_option(argv[k], "--once=", once) &&
        !read_option(argv[k], "--measure-memory=", memory)) {
      rest.push_back(argv[k]);
    }
  }
  if (memory.compare(0, 7, "closure") == 0) {
    return vorn::bench::measure_closure_memory(memory);
  }
  if (!memory.empty()) return vorn::bench::measure_memory(memory, 1000000);
  if (!ft10.empty()) {
    std::ofstream out(ft10);
    vorn::bench::record_ft10(out);
    return out.good() ? EXIT_SUCCESS : EXIT_FAILURE;
  }

  if (!once.empty()) {
    vorn::bench::add_graph_benchmarks(trace);
    const std::size_t colon = once.find(':');
    if (colon == std::string::npos) return EXIT_FAILURE;
    return vorn::bench::run_once(once.substr(0, colon), once.substr(colon + 1));
  }

  keep_freed_memory();
  vorn::bench::add_graph_benchmarks(trace);
  vorn::bench::add_growth_benchmarks();
  vorn::bench::add_memory_benchmarks();
  vorn::bench::add_lemma_benchmarks();
  vorn::bench::add_closure_benchmarks();
  vorn::bench::add_number_benchmarks();
  vorn::bench::add_container_benchmarks();
  auto count = static_cast<int>(rest.size());
  benchmark::Initialize(&count, rest.data());
  if (benchmark::ReportUnrecognizedArguments(count, rest.data())) {
    return EXIT_FAILURE;
  }
  Silent silent;
  benchmark::RunSpecifiedBenchmarks(&silent);
  vorn::bench::table().print(std::cout);
  if (rows.empty()) return EXIT_SUCCESS;
  std::ofstream out(rows);
  vorn::bench::table().print_fields(out);
  return out.good() ? EXIT_SUCCESS : EXIT_FAILURE;
}
