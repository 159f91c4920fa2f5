// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_CONTEST_H
#define VORN_BENCH_CONTEST_H

#include <benchmark/benchmark.h>

#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "bench/table.h"

namespace vorn::bench {

/// Times per contest, of which the median counts.
inline constexpr int kRuns = 7;

/// Seconds of processor time of the calling thread: what other programs do at
/// the same time hardly shows.
inline double cpu_seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) +
         1e-9 * static_cast<double>(now.tv_nsec);
}

/// Seconds that `work` takes.
template <class Work>
double seconds_of(Work&& work) {
  const double start = cpu_seconds();
  work();
  return cpu_seconds() - start;
}

double median(std::vector<double> values);

/// The median of the ratios of two lists of times that were taken in pairs.
double median_ratio(const std::vector<double>& a, const std::vector<double>& b);

struct Contestant {
  std::string name;
  /// Does the work once and returns the seconds of it that count.
  std::function<double()> run;
  /// What the library's time is to be, seen from this one. Not used for the
  /// library itself.
  Target target;
};

/// The body of a benchmark: runs the contestants in turn, in another order each
/// time, once per iteration, and adds a row for each but the first, which is
/// the library. A ratio is the median of the iterations' ratios.
///
/// `work` is the number of units of work, `unit`, in one run. Returns the
/// seconds of each contestant, a list of one entry an iteration, for rows with
/// other units.
std::vector<std::vector<double>> hold_contest(
    benchmark::State& state, const std::string& name,
    const std::vector<Contestant>& contestants, double work,
    const std::string& unit);

/// Registers a contest under a name "bm_<type>_<op>/<n>".
void add_benchmark(
    const std::string& name,
    const std::function<void(benchmark::State&, const std::string&)>& body);

}  // namespace vorn::bench

#endif  // VORN_BENCH_CONTEST_H
